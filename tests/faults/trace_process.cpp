// A process that traces, for a test that runs several at a time.
//
//   trace_process NUMBER LINES READY_FILE    LINES lines in each of two threads; 0: until it is killed.
//                                            Creates the file when both threads run.

#include "tests/faults/support/Document.h"
#include "trace/Set_Trace_Level.h"
#include "trace/Tracing.h"

#include <latch>

namespace {

void Write(int process, int thread, int lines) {
    for (int line = 0; lines == 0 || line < lines; ++line) {
        // Each call is one message of the trace, and whole.
        QEL::FrontEnd::FileCache::Get_Tracer()->trace().Log_Error(
            "%s\n", QEL::Tests::Trace_Line(process, thread, line).c_str());
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
    const int process = std::atoi(argv[1]);
    const int lines = std::atoi(argv[2]);
    std::latch second_runs(1);
    std::thread second([&] {
        second_runs.count_down();
        Write(process, 1, lines);
    });
    second_runs.wait();
    std::ofstream(argv[3]) << "begins";
    Write(process, 0, lines);
    second.join();
    return 0;
}
