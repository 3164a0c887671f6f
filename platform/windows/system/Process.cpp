#include "util/Process.h"

#include "platform/windows/Windows_Headers.h"

namespace QEL::FrontEnd::Util {

int Process_Id() {
    return static_cast<int>(GetCurrentProcessId());
}

int Thread_Id() {
    return static_cast<int>(GetCurrentThreadId());
}

std::string Program_Path() {
    // The longest path the system knows.
    std::string path(32767, '\0');
    path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

std::string Environment_Variable(const char* name) {
    std::string value(32767, '\0');
    value.resize(GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

std::shared_ptr<void> Hold_Length_Signal() {
    return nullptr;
}

static_assert(sizeof(std::time_t) == 8, "times go on after 2038");

std::tm Local_Time() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_s(&local, &now);
    return local;
}

} // namespace QEL::FrontEnd::Util
