// Work that grows with the number of entries: loading and writing the metadata file, and the sweep of
// copies that nothing refers to.

#include "bench/support/Cached_Files.h"
#include "filecache/CFileCache.h"

#include <benchmark/benchmark.h>

#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QEL::Bench {

namespace {

using FrontEnd::FileCache::CacheEntry;
using FrontEnd::FileCache::CFileCache;

const Cached_Files& Files(std::int64_t count) {
    static const Configured_Home s_home;
    static std::map<std::int64_t, std::unique_ptr<Cached_Files>> s_files;
    auto& files = s_files[count];
    if (!files) {
        files = std::make_unique<Cached_Files>(static_cast<std::size_t>(count));
    }
    return *files;
}

std::unique_ptr<CFileCache> New_Cache() {
    return std::make_unique<CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
}

/// The file's lines, and one stat for each entry: its third line is the path of the copy.
void Load_Floor(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    for (auto _ : state) {
        std::ifstream metadata(files.Metadata_File());
        std::string line;
        for (int header = 0; header < 5; ++header) {
            std::getline(metadata, line);
        }
        for (int number = 0; std::getline(metadata, line); ++number) {
            if (number % 4 == 2) {
                struct stat status {};
                benchmark::DoNotOptimize(::stat(line.c_str(), &status));
            }
        }
    }
}

void Load(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto cache = New_Cache();
        state.ResumeTiming();
        if (!cache->Set_Cache_Directory(files.Cache_Directory())) {
            state.SkipWithError("not loaded");
        }
        state.PauseTiming();
        cache.reset();
        state.ResumeTiming();
    }
}

/// The directory's names, and one look-up in a set for each.
void Sweep_Floor(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    std::unordered_set<std::string> referenced;
    for (std::size_t number = 0; number < files.Count(); ++number) {
        referenced.insert(Copy_Name(number));
    }
    for (auto _ : state) {
        DIR* const directory = ::opendir(files.Cache_Directory().c_str());
        std::size_t found = 0;
        while (const dirent* const entry = ::readdir(directory)) {
            found += referenced.contains(entry->d_name) ? 1 : 0;
        }
        ::closedir(directory);
        if (found != files.Count()) {
            state.SkipWithError("not all found");
        }
    }
}

/// The first request of a cache that has been loaded: the sweep, and the fresh hit behind it.
void Sweep(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto cache = New_Cache();
        cache->Set_Cache_Directory(files.Cache_Directory());
        state.ResumeTiming();
        const std::string path = cache->Get_Cached_File(files.Url(0));
        state.PauseTiming();
        if (path != files.Copy(0)) {
            state.SkipWithError("not served");
        }
        cache.reset();
        state.ResumeTiming();
    }
}

/// Lines that are there already, each written by one system call: the format's writer flushes each.
void Persist_Floor(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    std::vector<std::string> lines;
    std::ifstream metadata(files.Metadata_File());
    for (std::string line; std::getline(metadata, line);) {
        lines.push_back(line + "\n");
    }
    const std::string target = files.Cache_Directory() + "/floor.txt";
    for (auto _ : state) {
        const int file = ::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        for (const std::string& line : lines) {
            if (::write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
                state.SkipWithError("not written");
            }
        }
        ::close(file);
    }
    ::unlink(target.c_str());
}

/// Recording a download: the entry replaces an older one, and the file is written anew.
void Persist(benchmark::State& state) {
    // A directory of its own, whose metadata file may change.
    static const Cached_Files files(static_cast<std::size_t>(state.range(0)));
    const auto cache = New_Cache();
    cache->Set_Cache_Directory(files.Cache_Directory());
    const CacheEntry entry{files.Cache_Directory() + "/" + Copy_Name(files.Count()), "Sat, 21 Nov 2026 04:38:16 GMT",
                           134397305823361656};
    for (auto _ : state) {
        cache->Persist_Downloaded_File_Metadata("https://landscape.example.com/configuration/new.xml", entry);
    }
}

BENCHMARK(Load_Floor)->Arg(10000)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(Load)->Arg(10000)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(Sweep_Floor)->Arg(10000)->Arg(20000)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(Sweep)->Arg(10000)->Arg(20000)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(Persist_Floor)->Arg(10000)->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(Persist)->Arg(10000)->Iterations(5)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace QEL::Bench

BENCHMARK_MAIN();
