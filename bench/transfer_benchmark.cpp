// Work over the network: downloads, share copies and freshness checks, each beside its peers.

#include "bench/support/Program.h"
#include "filecache/CFileCache.h"
#include "tests/support/Certificates.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Samba_Server.h"
#include "tests/support/Scratch_Directory.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace QEL::Bench {

namespace {

constexpr std::size_t Large = 200 * 1000 * 1000;
constexpr std::size_t Small = 50 * 1000;
constexpr std::size_t Huge = 10ULL * 1000 * 1000 * 1000;
constexpr int Checks = 1000;

using Command = std::vector<std::string>;

/// The servers with their files, and the configuration of all programs: every copy is outdated.
class World {
public:
    World() : m_Authority(m_Home.Path(), "authority") {
        Tests::Certificate_Options options;
        options.name = "localhost"; // which every program resolves
        Tests::Nginx_Site secure{{}, m_Authority.Issue("localhost", options)};
        m_Web = std::make_unique<Tests::Nginx_Server>(std::vector<Tests::Nginx_Site>{Tests::Nginx_Site{}, secure});
        Write_Large_Text(m_Web->Files() / "large.txt");
        m_Web->Write("small.xml", "<Landscape/>\n");
        m_Web->Write("50k.txt", std::string(Small, 'x'));
        m_Web->Write("huge.bin", "");
        std::filesystem::resize_file(m_Web->Files() / "huge.bin", Huge); // takes no space
        m_Shares = std::make_unique<Tests::Samba_Server>();
        Write_Large_Text(m_Shares->Files() / "large.txt");

        m_Home.Write("config/qel/qel.ini", "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod=0\n"
                                           "[Shares]\nPort=" +
                                               std::to_string(m_Shares->Port()) + "\n");
        m_Home.Write(".smb/smb.conf", "");
        Configure();
    }

    std::string Url(const std::string& file) const { return m_Web->Site(0).Url("/" + file, "127.0.0.1"); }
    std::string Secure_Url() const { return m_Web->Site(1).Url("/small.xml", "localhost"); }
    std::string Share_Port() const { return std::to_string(m_Shares->Port()); }
    const Tests::Nginx_Server& Web() const { return *m_Web; }
    void Change_Small_File() {
        std::filesystem::last_write_time(m_Web->Files() / "small.xml", m_Next_Change += std::chrono::seconds(2));
    }
    std::string Authority_File() const { return m_Authority.File().string(); }
    std::string Write(const std::string& name, const std::string& content) const { return m_Home.Write(name, content); }

    /// An empty directory for what comes in. The last one is gone then.
    std::string Empty_Directory() const {
        const auto directory = m_Home.Path() / "incoming";
        std::filesystem::remove_all(directory);
        std::filesystem::create_directory(directory);
        return directory.string();
    }

private:
    /// Makes this the environment of the programs to come.
    void Configure() const {
        setenv("HOME", m_Home.Path().c_str(), 1);
        setenv("XDG_CONFIG_HOME", (m_Home.Path() / "config").c_str(), 1);
        setenv("SSL_CERT_FILE", m_Authority.File().c_str(), 1);
    }

    /// Written in pieces: what this process needs at most, all programs seem to need.
    static void Write_Large_Text(const std::filesystem::path& path) {
        std::string piece(Large / 1000, ' ');
        std::uint32_t state = 1;
        for (char& letter : piece) {
            state = state * 1664525 + 1013904223;
            letter = static_cast<char>(' ' + (state >> 24) % 95);
        }
        std::ofstream file(path);
        for (int pieces = 0; pieces < 1000; ++pieces) {
            file << piece;
        }
    }

    const Tests::Scratch_Directory m_Home;
    const Tests::Certificate_Authority m_Authority;
    std::unique_ptr<Tests::Nginx_Server> m_Web;
    std::unique_ptr<Tests::Samba_Server> m_Shares;
    std::filesystem::file_time_type m_Next_Change = std::filesystem::file_time_type::clock::now();
};

/// Exists for the time of main.
World* s_world = nullptr;

/// Measures a program from start to end, with an empty directory for what it fetches.
void Measure_Fetch(benchmark::State& state, std::uintmax_t size,
                   const std::function<Command(const std::string& directory)>& command) {
    Program_Cost cost;
    for (auto _ : state) {
        const std::string directory = s_world->Empty_Directory();
        cost = Run_Program(command(directory));
        state.SetIterationTime(cost.seconds);
        std::uintmax_t fetched = 0;
        for (const auto& file : std::filesystem::recursive_directory_iterator(directory)) {
            fetched += file.is_regular_file() ? file.file_size() : 0;
        }
        if (fetched < size) {
            state.SkipWithError("not fetched");
        }
    }
    state.counters["peak_mib"] = cost.peak_mib;
    state.counters["cpu_ms"] = cost.cpu_seconds * 1000;
}

void Register_Fetch(const std::string& name, std::function<Command(const std::string& directory)> command,
                    std::uintmax_t size = Large, int iterations = 1) {
    benchmark::RegisterBenchmark(name.c_str(), [command = std::move(command),
                                                size](benchmark::State& state) { Measure_Fetch(state, size, command); })
        ->UseManualTime()
        ->Iterations(iterations)
        ->Unit(benchmark::kMillisecond);
}

/// Registers a download by curl and by the cache.
void Register_Download(const std::string& name, const std::string& url, std::uintmax_t size, int iterations) {
    Register_Fetch(
        name + "_Curl",
        [url](const std::string& directory) {
            return Command{"curl", "-s", "-S", "-f", "-o", directory + "/copy", url};
        },
        size, iterations);
    Register_Fetch(
        name,
        [url](const std::string& directory) {
            return Command{QEL_TOOL, "--cache-dir", directory, "get", url};
        },
        size, iterations);
}

void Register_Downloads() {
    const std::string url = s_world->Url("large.txt");
    Register_Download("Download", url, Large, 1);
    Register_Download("Download_50K", s_world->Url("50k.txt"), Small, 20);
    constexpr std::uintmax_t room_for_huge = 25ULL * 1000 * 1000 * 1000;
    if (std::filesystem::space(s_world->Empty_Directory()).available > room_for_huge) {
        Register_Download("Download_10G", s_world->Url("huge.bin"), Huge, 1);
    } else {
        std::cerr << "not measured, for want of 25 GB of disk: a download of 10 GB\n";
    }
    Register_Fetch("Download_Wget",
                   [url](const std::string& directory) { return Command{"wget", "-q", "-N", "-P", directory, url}; });
    Register_Fetch("Download_Fsspec", [url](const std::string& directory) {
        return Command{QEL_PEERS "/fsspec_cache.py", "download", url, directory};
    });
    Register_Fetch("Download_Proj", [url](const std::string& directory) {
        return Command{QEL_PEER_DOWNLOAD, "proj", url, directory};
    });
    Register_Fetch("Download_Qt", [url](const std::string& directory) {
        return Command{QEL_PEER_DOWNLOAD, "qt", url, directory};
    });
    Register_Fetch("Share_Copy_Smbclient", [](const std::string& directory) {
        const std::string copy = directory + "/large.txt";
        return Command{"sh", "-c",
                       "smbclient //127.0.0.1/share -s /dev/null -p " + s_world->Share_Port() +
                           " -N -c 'prompt; get large.txt " + copy + "' && exec sync " + copy};
    });
    Register_Fetch("Share_Copy", [](const std::string& directory) {
        return Command{QEL_TOOL, "--cache-dir", directory, "get", "\\\\127.0.0.1\\share\\large.txt"};
    });
}

// 1,000 freshness checks over TLS. Connections are there before the time begins to run, but for whole
// programs.

/// Writes a list of copies with one entry anew, each line flushed: every check that finds a copy
/// unchanged has to.
void Rewrite_List(const std::string& path) {
    static const std::vector<std::string> s_lines{
        "QEL Logon Landscape Cache Metadata\n",
        "version\n",
        "2\n",
        "entries\n",
        "1\n",
        "Sat, 21 Nov 2026 04:38:16 GMT\n",
        "134397305823361656\n",
        "/home/user/.cache/qel/landscape/12345678-1234-1234-1234-123456789012.xml\n",
        "https://localhost:12345/small.xml\n"};
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    for (const std::string& line : s_lines) {
        if (::write(file, line.data(), line.size()) < 0) {
            throw std::runtime_error("not written");
        }
    }
    ::close(file);
}

/// @param with_list false: the requests alone, which is the floor.
void Checks_Libcurl(benchmark::State& state, bool with_list) {
    const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), curl_easy_cleanup);
    curl_easy_setopt(handle.get(), CURLOPT_URL, s_world->Secure_Url().c_str());
    curl_easy_setopt(handle.get(), CURLOPT_NOBODY, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_CAINFO, s_world->Authority_File().c_str());
    const std::string list = s_world->Empty_Directory() + "/list.txt";
    bool all_well = curl_easy_perform(handle.get()) == CURLE_OK;
    for (auto _ : state) {
        for (int check = 0; check < Checks; ++check) {
            all_well = curl_easy_perform(handle.get()) == CURLE_OK && all_well;
            if (with_list) {
                Rewrite_List(list);
            }
        }
    }
    if (!all_well) {
        state.SkipWithError("no response");
    }
}

void Checks_Of_The_Cache(benchmark::State& state) {
    FrontEnd::FileCache::CFileCache cache(FrontEnd::OSWRAPI::IOSWrapper::Create());
    cache.Set_Cache_Directory(s_world->Empty_Directory());
    const std::string url = s_world->Secure_Url();
    const std::string copy = cache.Get_Cached_File(url);
    bool all_well = !copy.empty();
    for (auto _ : state) {
        for (int check = 0; check < Checks; ++check) {
            all_well = cache.Get_Cached_File(url) == copy && all_well;
        }
    }
    if (!all_well) {
        state.SkipWithError("not served");
    }
}

/// A copy whose source has changed, asked for by a program: what the server sees of its check and its
/// download.
void Check_And_Download(benchmark::State& state) {
    const Command tool{QEL_TOOL, "--cache-dir", s_world->Empty_Directory(), "get", s_world->Secure_Url()};
    Run_Program(tool);
    s_world->Change_Small_File();
    s_world->Web().Forget_Requests();
    for (auto _ : state) {
        state.SetIterationTime(Run_Program(tool).seconds);
    }
    std::set<std::string> connections;
    const auto requests = s_world->Web().Requests(2);
    for (const std::string& request : requests) {
        connections.insert(request.substr(0, request.find(' ')));
    }
    state.counters["requests"] = static_cast<double>(requests.size());
    state.counters["connections"] = static_cast<double>(connections.size()); // each with its handshake
}

/// Measures a program that makes all checks.
void Measure_Checks(benchmark::State& state, const Command& command) {
    Run_Program(command); // the file is there from now on
    for (auto _ : state) {
        state.SetIterationTime(Run_Program(command).seconds);
    }
}

void Register_Checks() {
    for (const auto& [name, with_list] : {std::pair{"Checks_Libcurl", false}, std::pair{"Checks_Libcurl_List", true}}) {
        benchmark::RegisterBenchmark(name, Checks_Libcurl, with_list)
            ->UseRealTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("Checks", Checks_Of_The_Cache)
        ->UseRealTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("Check_And_Download", Check_And_Download)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
    std::string list;
    std::string configuration;
    for (int check = 0; check < Checks; ++check) {
        list += s_world->Secure_Url() + "\n";
        configuration += "url = \"" + s_world->Secure_Url() + "\"\noutput = /dev/null\n";
    }
    const Command curl{"curl",     "-s",
                       "-f",       "-I",
                       "--cacert", s_world->Authority_File(),
                       "-K",       s_world->Write("curl.conf", configuration)};
    const Command wget{"wget", "-q",
                       "-N",   "--ca-certificate=" + s_world->Authority_File(),
                       "-P",   s_world->Empty_Directory() + "/..",
                       "-i",   s_world->Write("urls.txt", list)};
    for (const auto& [name, command] : {std::pair{"Checks_Curl", curl}, std::pair{"Checks_Wget", wget}}) {
        benchmark::RegisterBenchmark(name, Measure_Checks, command)
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
}

} // namespace

} // namespace QEL::Bench

int main(int argument_count, char** arguments) {
    using namespace QEL::Bench;
    benchmark::Initialize(&argument_count, arguments);
    World world;
    s_world = &world;
    Register_Downloads();
    Register_Checks();
    benchmark::RunSpecifiedBenchmarks();
    s_world = nullptr;
    return 0;
}
