// The tool's fresh hit as a whole process, beside a program that loads the same libraries and does nothing.

#include "bench/support/Cached_Files.h"
#include "bench/support/Program.h"

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace QEL::Bench {

namespace {

using Command = std::vector<std::string>;

void Run(benchmark::State& state, const Command& command) {
    for (auto _ : state) {
        state.SetIterationTime(Run_Program(command).seconds);
    }
}

} // namespace

} // namespace QEL::Bench

int main(int argument_count, char** arguments) {
    using namespace QEL::Bench;
    benchmark::Initialize(&argument_count, arguments);
    const Configured_Home home;
    const Cached_Files files(50);
    const Command tool{QEL_TOOL, "--cache-dir", files.Cache_Directory(), "get", files.Url(0)};
    const Command curl{"curl", "--version"};
    // In turns of ten processes.
    for (const auto& [name, command] : {std::pair{"Tool_Fresh_Hit", tool}, std::pair{"Curl_Version", curl}}) {
        benchmark::RegisterBenchmark(name, Run, command)
            ->UseManualTime()
            ->Iterations(10)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
