#include "util/system/Process.h"

#include <filesystem>

#include <unistd.h>

namespace QEL::FrontEnd::Util {

int Process_Id() {
    return ::getpid();
}

int Thread_Id() {
    return ::gettid();
}

std::string Program_Path() {
    std::error_code unreadable;
    return std::filesystem::read_symlink("/proc/self/exe", unreadable).string();
}

std::tm Local_Time() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    return local;
}

} // namespace QEL::FrontEnd::Util
