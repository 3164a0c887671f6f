// Requests that need no server: a fresh copy, a local file, and the messages that are not written.

#include "bench/support/Cached_Files.h"
#include "filecache/CFileCache.h"
#include "filecache/trace_messages.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace QEL::Bench {

namespace {

using FrontEnd::FileCache::CacheEntry;
using FrontEnd::FileCache::CFileCache;

const Configured_Home& Home() {
    static const Configured_Home s_home;
    return s_home;
}

/// One cache directory a size, for all benchmarks.
const Cached_Files& Files(std::int64_t count) {
    static std::map<std::int64_t, std::unique_ptr<Cached_Files>> s_files;
    auto& files = s_files[count];
    if (!files) {
        files = std::make_unique<Cached_Files>(static_cast<std::size_t>(count));
    }
    return *files;
}

/// A cache as a host has it that serves requests all day: loaded, swept, tracing off.
std::unique_ptr<CFileCache> Loaded_Cache(const Cached_Files& files) {
    Home();
    auto cache = std::make_unique<CFileCache>(FrontEnd::OSWRAPI::IOSWrapper::Create());
    if (!cache->Set_Cache_Directory(files.Cache_Directory()) || cache->Get_Cached_File(files.Url(0)) != files.Copy(0)) {
        throw std::runtime_error("the cache does not serve its files");
    }
    return cache;
}

/// URLs to ask for, without end: so many of the entries, spread over all of them, in an order
/// without pattern that is the same in every run.
class Asked_Urls {
public:
    Asked_Urls(const Cached_Files& files, std::int64_t count) {
        for (std::size_t number = 0; number < files.Count();
             number += files.Count() / static_cast<std::size_t>(count)) {
            m_Urls.push_back(files.Url(number));
        }
        std::shuffle(m_Urls.begin(), m_Urls.end(), std::mt19937(1));
    }

    const std::string& Next() {
        m_Position = m_Position + 1 < m_Urls.size() ? m_Position + 1 : 0;
        return m_Urls[m_Position];
    }

private:
    std::vector<std::string> m_Urls;
    std::size_t m_Position = 0;
};

/// What no cache can do without: one map look-up, one stat of the copy, one stat of the
/// configuration, one clock read, one copied text.
void Fresh_Hit_Floor(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    std::map<std::string, CacheEntry> entries;
    for (std::size_t number = 0; number < files.Count(); ++number) {
        entries[files.Url(number)] = {files.Copy(number), "Sat, 21 Nov 2026 04:38:16 GMT", 1};
    }
    const std::string configuration = Home().Configuration_File();
    Asked_Urls urls(files, state.range(1));
    for (auto _ : state) {
        const CacheEntry& entry = entries.find(urls.Next())->second;
        struct stat status {};
        struct timespec now {};
        if (::stat(entry.cached_file.c_str(), &status) != 0 || ::stat(configuration.c_str(), &status) != 0) {
            state.SkipWithError("a file is missing");
        }
        ::clock_gettime(CLOCK_REALTIME, &now);
        benchmark::DoNotOptimize(now);
        std::string path = entry.cached_file;
        benchmark::DoNotOptimize(path);
    }
}

void Fresh_Hit(benchmark::State& state) {
    const Cached_Files& files = Files(state.range(0));
    const auto cache = Loaded_Cache(files);
    Asked_Urls urls(files, state.range(1));
    for (auto _ : state) {
        std::string path = cache->Get_Cached_File(urls.Next());
        benchmark::DoNotOptimize(path);
    }
}

void Local_File_Floor(benchmark::State& state) {
    const std::string file = Files(50).Copy(0);
    for (auto _ : state) {
        struct stat status {};
        benchmark::DoNotOptimize(::stat(file.c_str(), &status));
    }
}

void Local_File(benchmark::State& state) {
    const Cached_Files& files = Files(50);
    const auto cache = Loaded_Cache(files);
    const std::string file = files.Copy(0);
    for (auto _ : state) {
        std::string path = cache->Get_Cached_File(file);
        benchmark::DoNotOptimize(path);
    }
}

/// How often a fresh hit asks for the trace writer: every message begins with its thread.
int Messages_Of_A_Fresh_Hit() {
    const Cached_Files& files = Files(50);
    const auto cache = Loaded_Cache(files);
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    cache->Get_Cached_File(files.Url(0));
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    int messages = 0;
    for (const auto& file : std::filesystem::directory_iterator(Home().Path())) {
        if (file.path().extension() == ".trc") {
            std::ifstream trace(file.path());
            for (std::string line; std::getline(trace, line);) {
                messages += line.find("TID: ") != std::string::npos ? 1 : 0;
            }
        }
    }
    return messages;
}

void Disabled_Messages_Of_A_Fresh_Hit(benchmark::State& state) {
    const int messages = Messages_Of_A_Fresh_Hit();
    for (auto _ : state) {
        for (int message = 0; message < messages; ++message) {
            benchmark::DoNotOptimize(FrontEnd::FileCache::Enabled_Trace(QELPCTRC_ADDITIONAL_DATA));
        }
    }
    state.counters["messages"] = messages;
}

BENCHMARK(Fresh_Hit_Floor)->Args({50, 50})->Args({10000, 50})->Args({10000, 10000});
BENCHMARK(Fresh_Hit)->Args({50, 50})->Args({10000, 50})->Args({10000, 10000});
BENCHMARK(Local_File_Floor);
BENCHMARK(Local_File);
BENCHMARK(Disabled_Messages_Of_A_Fresh_Hit);

} // namespace

} // namespace QEL::Bench

BENCHMARK_MAIN();
