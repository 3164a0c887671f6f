// Marks a directory or takes the trace lock, says so by making a file, and ends once another file is there: the lock is
// kept a while longer, and "die" gives nothing back.
//
//   other_process DIRECTORY|MILLISECONDS READY_FILE END_FILE release|die

#include "tests/support/Standard_Library.h"
#include "util/Directory_Mark.h"
#include "util/System_Mutex.h"

int main(int argc, char** argv) {
    using QEL::FrontEnd::Util::Tracing::System_Mutex;
    using Result = System_Mutex::Wait_Result;
    if (argc != 5) {
        return 2;
    }
    const std::string what = argv[1];
    const bool takes_lock = what.find_first_not_of("0123456789") == std::string::npos;
    const auto lock = takes_lock ? System_Mutex::Open_Trace_Lock() : nullptr;
    const Result result = lock ? lock->Wait(10000) : Result::Failed;
    if (takes_lock && result != Result::Acquired && result != Result::Abandoned) {
        return 3;
    }
    std::optional<QEL::FrontEnd::Util::FileSystem::Directory_Mark> mark;
    if (!takes_lock) {
        mark.emplace(what);
    }
    std::ofstream(argv[2]) << "ready";
    while (!std::filesystem::exists(argv[3])) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(takes_lock ? std::stoi(what) : 0));
    if (std::string(argv[4]) == "die") {
        std::_Exit(0);
    }
    return !lock || lock->Release() ? 0 : 4;
}
