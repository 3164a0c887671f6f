// A process that traces, or that holds the trace lock, for a test that runs several at a time.
//
//   trace_process write NUMBER LINES READY_FILE    LINES lines in each of two threads; 0: until it is killed.
//                                                  Creates the file when both threads run.
//   trace_process hold READY_FILE                  takes the lock, says so by creating the file, and keeps it

#include "tests/faults/support/Trace_Line.h"
#include "trace/Set_Trace_Level.h"
#include "trace/Tracing.h"
#include "util/System_Mutex.h"

#include <cstdlib>
#include <fstream>
#include <latch>
#include <string>
#include <thread>

#include <unistd.h>

namespace {

int Hold(const char* ready_file) {
    using QEL::FrontEnd::Util::Tracing::System_Mutex;
    const auto mutex = System_Mutex::Open_Trace_Lock();
    if (!mutex || mutex->Wait(60000) != System_Mutex::Wait_Result::Acquired) {
        return 3;
    }
    std::ofstream(ready_file) << "held";
    for (;;) {
        ::pause();
    }
}

void Write(int process, int thread, int lines) {
    for (int line = 0; lines == 0 || line < lines; ++line) {
        // Each call is one message of the trace, and whole.
        QEL::FrontEnd::FileCache::Get_Tracer()->trace().Log_Error(
            "%s\n", QEL::Tests::Trace_Line(process, thread, line).c_str());
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "hold") {
        return Hold(argv[2]);
    }
    if (argc != 5) {
        return 2;
    }
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
    const int process = std::atoi(argv[2]);
    const int lines = std::atoi(argv[3]);
    std::latch second_runs(1);
    std::thread second([&] {
        second_runs.count_down();
        Write(process, 1, lines);
    });
    second_runs.wait();
    std::ofstream(argv[4]) << "begins";
    Write(process, 0, lines);
    second.join();
    return 0;
}
