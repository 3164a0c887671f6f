// Takes the trace lock, says so by making a file, keeps it until another file is there and a while longer, and gives it
// back or ends without doing so.
//
//   lock_holder MILLISECONDS READY_FILE END_FILE release|die

#include "tests/support/Standard_Library.h"
#include "util/System_Mutex.h"

int main(int argc, char** argv) {
    using QEL::FrontEnd::Util::Tracing::System_Mutex;
    if (argc != 5) {
        return 2;
    }
    const auto mutex = System_Mutex::Open_Trace_Lock();
    if (!mutex) {
        return 3;
    }
    const auto result = mutex->Wait(10000);
    if (result != System_Mutex::Wait_Result::Acquired && result != System_Mutex::Wait_Result::Abandoned) {
        return 4;
    }
    std::ofstream(argv[2]) << "held";
    while (!std::filesystem::exists(argv[3])) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(argv[1])));
    if (std::string(argv[4]) == "die") {
        std::_Exit(0);
    }
    return mutex->Release() ? 0 : 5;
}
