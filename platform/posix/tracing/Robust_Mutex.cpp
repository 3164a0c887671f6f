#include "platform/posix/tracing/Robust_Mutex.h"

#include "platform/posix/system/File_Descriptor.h"
#include "platform/posix/system/Win32_Error.h"
#include "platform/posix/system/Write_Signal_Guard.h"
#include "util/Non_Copyable.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QEL::FrontEnd::Platform {

namespace {

using Util::Tracing::System_Mutex;

constexpr std::uint64_t Ready_Mark = 0x514C5472634C6B31;

/// What the processes share. The memory begins as zeros; the mark is written last, so a process that
/// dies while it prepares the mutex leaves it unprepared for the next one.
struct Shared_Lock {
    std::atomic<std::uint64_t> mark;
    pthread_mutex_t mutex;
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "the mark is shared by processes");

Win32_Error Lock_Error(int errno_value) {
    if (errno_value == EPERM) {
        return Error_Not_Owner;
    }
    return errno_value == EDEADLK ? Error_Possible_Deadlock : Win32_Error_From_Errno(errno_value);
}

class Robust_Mutex : public System_Mutex {
public:
    explicit Robust_Mutex(Shared_Lock& lock) : m_Mutex(lock.mutex) {}

    Wait_Result Wait(std::uint32_t milliseconds) override {
        int result = ::pthread_mutex_trylock(&m_Mutex);
        if (result == EBUSY && milliseconds > 0) {
            result = Lock_Within(milliseconds);
        }
        if (result == EBUSY || result == ETIMEDOUT) {
            return Wait_Result::Timed_Out;
        }
        const bool is_abandoned = result == EOWNERDEAD;
        if (is_abandoned) {
            result = ::pthread_mutex_consistent(&m_Mutex);
        }
        if (result != 0) {
            t_last_error = Lock_Error(result);
            return Wait_Result::Failed;
        }
        return is_abandoned ? Wait_Result::Abandoned : Wait_Result::Acquired;
    }

    bool Release() override {
        const int result = ::pthread_mutex_unlock(&m_Mutex);
        if (result != 0) {
            t_last_error = Lock_Error(result);
        }
        return result == 0;
    }

    std::uint32_t Last_Error() const override { return t_last_error; }

private:
    int Lock_Within(std::uint32_t milliseconds) {
        using Clock = std::chrono::steady_clock;
        const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            const int result = Lock_For(std::min(std::max(left, {}), Longest_Sleep));
            if ((result != ETIMEDOUT && result != EBUSY) || left <= Longest_Sleep) {
                return result;
            }
        }
    }

#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer knows of a lock by pthread_mutex_trylock alone, not by the call below.
    static constexpr std::chrono::milliseconds Longest_Sleep{1};

    int Lock_For(std::chrono::milliseconds duration) {
        std::this_thread::sleep_for(duration);
        return ::pthread_mutex_trylock(&m_Mutex);
    }
#else
    /// Whoever gives the lock back wakes one of those who wait, and that one would wake the next in its
    /// turn. When it is killed before it can, nobody wakes the others: they look for themselves.
    static constexpr std::chrono::milliseconds Longest_Sleep{100};

    int Lock_For(std::chrono::milliseconds duration) {
        using namespace std::chrono;
        const nanoseconds end = (steady_clock::now() + duration).time_since_epoch(); // that clock is CLOCK_MONOTONIC
        const struct timespec until { end / seconds(1), (end % seconds(1)).count() };
        return ::pthread_mutex_clocklock(&m_Mutex, CLOCK_MONOTONIC, &until);
    }
#endif

    static inline thread_local std::uint32_t t_last_error = 0;

    pthread_mutex_t& m_Mutex;
};

/// The shared memory object, when it is this user's own.
File_Descriptor Open_Object(const std::string& name) {
    File_Descriptor object(::shm_open(name.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR));
    struct stat status {};
    if (!object || ::fstat(object.Get(), &status) != 0) {
        return {};
    }
    // Everyone may create names there: an object of somebody else, or one that others may write to,
    // would let them stop this user's programs.
    const bool is_own = S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & 077) == 0;
    return is_own ? std::move(object) : File_Descriptor();
}

/// Holds the object's file lock, under which the mutex is prepared. That is a matter of microseconds,
/// so a process that has not done in a second has been stopped: it is not waited for. Giving the
/// lock back takes more than closing the object, which its mapping keeps open.
class Preparation : private Util::Non_Copyable {
public:
    explicit Preparation(const File_Descriptor& object) : m_Object(object) {
        constexpr int attempts = 1000;
        for (int attempt = 0; attempt < attempts; ++attempt) {
            m_Is_Entered = ::flock(m_Object.Get(), LOCK_EX | LOCK_NB) == 0;
            if (m_Is_Entered || (errno != EWOULDBLOCK && errno != EINTR)) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~Preparation() {
        if (m_Is_Entered) {
            ::flock(m_Object.Get(), LOCK_UN);
        }
    }

    bool Is_Entered() const { return m_Is_Entered; }

private:
    const File_Descriptor& m_Object;
    bool m_Is_Entered = false;
};

/// Gives the new object its size. An object of another size is not ours.
bool Has_Size(const File_Descriptor& object) {
    struct stat status {};
    if (::fstat(object.Get(), &status) != 0) {
        return false;
    }
    if (status.st_size == 0) {
        // The process's umask may have taken rights that the user's other processes need.
        const Write_Signal_Guard guard;
        return ::fchmod(object.Get(), S_IRUSR | S_IWUSR) == 0 && ::ftruncate(object.Get(), sizeof(Shared_Lock)) == 0;
    }
    return status.st_size == static_cast<off_t>(sizeof(Shared_Lock));
}

bool Prepare(Shared_Lock& lock) {
    if (lock.mark.load(std::memory_order_acquire) == Ready_Mark) {
        return true;
    }
    pthread_mutexattr_t attributes;
    if (::pthread_mutexattr_init(&attributes) != 0) {
        return false;
    }
    const bool prepared = ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                          ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                          ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK) == 0 &&
                          ::pthread_mutex_init(&lock.mutex, &attributes) == 0;
    ::pthread_mutexattr_destroy(&attributes);
    if (prepared) {
        lock.mark.store(Ready_Mark, std::memory_order_release);
    }
    return prepared;
}

} // namespace

std::shared_ptr<System_Mutex> Open_Robust_Mutex(const std::string& name) {
    const File_Descriptor object = Open_Object(name);
    if (!object) {
        return nullptr;
    }
    const Preparation preparation(object);
    if (!preparation.Is_Entered() || !Has_Size(object)) {
        return nullptr;
    }
    // The mapping stays to the end of the process, whoever drops the mutex before: the kernel looks
    // there for the locks of a thread that ends, and one that it does not find stays locked for ever.
    void* address = ::mmap(nullptr, sizeof(Shared_Lock), PROT_READ | PROT_WRITE, MAP_SHARED, object.Get(), 0);
    if (address == MAP_FAILED) {
        return nullptr;
    }
    auto& lock = *static_cast<Shared_Lock*>(address);
    return Prepare(lock) ? std::make_shared<Robust_Mutex>(lock) : nullptr;
}

} // namespace QEL::FrontEnd::Platform
