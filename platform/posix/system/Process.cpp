#include "util/Process.h"

#include "platform/posix/system/Write_Signal_Guard.h"

#include <cstdlib>
#include <filesystem>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace QEL::FrontEnd::Util {

namespace {

thread_local int t_thread_id = 0; ///< 0 until it is asked for

} // namespace

int Process_Id() {
    return ::getpid();
}

int Thread_Id() {
    // Every trace line asks for it, so the system is asked once a thread. The one thread of a forked
    // process has an id of its own.
    [[maybe_unused]] static const int s_forgotten_by_forks =
        ::pthread_atfork(nullptr, nullptr, [] { t_thread_id = 0; });
    if (t_thread_id == 0) {
        t_thread_id = ::gettid();
    }
    return t_thread_id;
}

std::string Program_Path() {
    std::error_code unreadable;
    return std::filesystem::read_symlink("/proc/self/exe", unreadable).string();
}

std::string Environment_Variable(const char* name) {
    const char* const value = ::secure_getenv(name);
    return value == nullptr ? std::string() : value;
}

std::shared_ptr<void> Hold_Length_Signal() {
    rlimit limit{};
    const bool is_limited = ::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY;
    return is_limited ? std::make_shared<Platform::Write_Signal_Guard>() : nullptr;
}

std::tm Local_Time() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    return local;
}

} // namespace QEL::FrontEnd::Util
