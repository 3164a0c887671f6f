// One line of the trace at level 4, on disk when the call returns.

#include "bench/support/Cached_Files.h"
#include "filecache/trace_messages.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <string>

namespace QEL::Bench {

namespace {

using FrontEnd::FileCache::Set_Trace_Level;
using FrontEnd::FileCache::Traced_Class;
using FrontEnd::Util::Thread_Id;
using namespace FrontEnd;
using FrontEnd::FileCache::Enabled_Trace;

constexpr int Lines = 100000; // few enough for the page cache

const std::string s_url = "https://landscape.example.com/configuration/landscape-000001.xml";

std::string File_Of(const char* name) {
    static const Configured_Home s_home; // the trace directory
    return (s_home.Path() / name).string();
}

void Stdio_Line(benchmark::State& state) {
    std::FILE* const file = std::fopen(File_Of("stdio.trc").c_str(), "w");
    for (auto _ : state) {
        std::fprintf(file, "TID: %d, %s%s[%p]/%d: url_or_path = '%s'.\n", Thread_Id(), Traced_Class, __func__,
                     static_cast<const void*>(&state), __LINE__, s_url.c_str());
        std::fflush(file);
    }
    std::fclose(file);
}

/// With the system-wide lock, as every message of the cache is written.
void Trace_Line(benchmark::State& state) {
    File_Of("");
    Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    for (auto _ : state) {
        if (CQelPcTrc* const trace_writer = Enabled_Trace(QELPCTRC_ADDITIONAL_DATA)) {
            trace_writer->Log_Additional_Data("TID: %d, %s%s[%p]/%d: url_or_path = '%s'.\n", Thread_Id(), Traced_Class,
                                              __func__, static_cast<const void*>(&state), __LINE__, s_url.c_str());
        }
    }
    Set_Trace_Level(QELPCTRC_OFF);
}

void Spdlog_Line(benchmark::State& state) {
    const auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(File_Of("spdlog.trc"), true);
    spdlog::logger logger("line", sink);
    logger.set_pattern("%v");
    logger.flush_on(spdlog::level::info);
    for (auto _ : state) {
        logger.info("TID: {}, {}{}[{}]/{}: url_or_path = '{}'.", Thread_Id(), Traced_Class, __func__,
                    static_cast<const void*>(&state), __LINE__, s_url);
    }
}

BENCHMARK(Stdio_Line)->Iterations(Lines);
BENCHMARK(Trace_Line)->Iterations(Lines);
BENCHMARK(Spdlog_Line)->Iterations(Lines);

} // namespace

} // namespace QEL::Bench

BENCHMARK_MAIN();
