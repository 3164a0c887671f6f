// Takes the trace lock, shows it by creating a file, keeps it until the file is gone and a while longer, and gives it
// back or ends without doing so.
//
//   lock_holder READY_FILE MILLISECONDS release|die

#include "util/System_Mutex.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

int main(int argc, char** argv) {
    using QEL::FrontEnd::Util::Tracing::System_Mutex;
    if (argc != 4) {
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
    std::ofstream(argv[1]) << "held";
    while (std::filesystem::exists(argv[1])) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(argv[2])));
    if (std::string(argv[3]) == "die") {
        std::_Exit(0);
    }
    return mutex->Release() ? 0 : 5;
}
