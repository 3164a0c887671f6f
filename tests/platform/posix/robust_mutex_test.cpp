// The shared mutex under a name of the test's own, between forked processes.

#include "platform/posix/tracing/Robust_Mutex.h"
#include "tests/support/Child_Process.h"
#include "util/Generate_Uuid.h"
#include "util/System_Mutex.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>

namespace {

bool s_no_attributes = false;

} // namespace

// In the place of the system's: fails where a test says so.
extern "C" __attribute__((visibility("default"))) int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    static const auto real =
        reinterpret_cast<int (*)(pthread_mutexattr_t*)>(::dlsym(RTLD_NEXT, "pthread_mutexattr_init"));
    return s_no_attributes ? ENOMEM : real(attributes);
}

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::Platform::Open_Robust_Mutex;
using QEL::FrontEnd::Util::Tracing::System_Mutex;
using Result = System_Mutex::Wait_Result;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

class Robust_Mutex : public testing::Test {
protected:
    const std::string name = "/qel-test-" + QEL::FrontEnd::Util::Generate_Uuid();

    ~Robust_Mutex() override { ::shm_unlink(name.c_str()); }

    struct stat Object_Status() const {
        struct stat status {};
        EXPECT_EQ(::stat(("/dev/shm" + name).c_str(), &status), 0);
        return status;
    }

    int Make_Object(mode_t rights, off_t size) const {
        const int object = ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
        EXPECT_GE(object, 0);
        EXPECT_EQ(::fchmod(object, rights), 0);
        EXPECT_EQ(::ftruncate(object, size), 0);
        return object;
    }

    /// What a process does that keeps the mutex until it is killed.
    int Hold_Until_Killed() const {
        const auto mutex = Open_Robust_Mutex(name);
        while (mutex && mutex->Wait(10000) == Result::Acquired) {
            ::pause();
        }
        return 1;
    }
    /// Waits until another process holds the mutex.
    static void Expect_Held(System_Mutex& mutex) {
        for (int attempt = 0; attempt < 20000 && mutex.Wait(0) == Result::Acquired; ++attempt) {
            ASSERT_TRUE(mutex.Release());
            std::this_thread::sleep_for(milliseconds(1));
        }
        EXPECT_EQ(mutex.Wait(0), Result::Timed_Out);
    }
};

/// A thread that was woken and killed before it could note that others wait leaves the lock in a state
/// in which nobody wakes them. Here the note is wiped off by hand.
TEST_F(Robust_Mutex, AWaitWhoseWakeUpIsLostEndsSoonAfterTheRelease) {
    const auto mutex = Open_Robust_Mutex(name);
    const int object = ::shm_open(name.c_str(), O_RDWR, 0);
    void* const memory = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, object, 0);
    ::close(object);
    ASSERT_NE(memory, MAP_FAILED);
    // Behind the mark of eight bytes; the first word of a mutex is its holder, with a bit for "others wait".
    std::atomic_ref<std::uint32_t> holder(*(static_cast<std::uint32_t*>(memory) + 2));
    constexpr std::uint32_t others_wait = 0x80000000;

    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    Result result = Result::Failed;
    std::thread waiter([&] {
        result = mutex->Wait(20000);
        mutex->Release();
    });
    while ((holder & others_wait) == 0) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    std::this_thread::sleep_for(milliseconds(10)); // now it sleeps
    holder &= ~others_wait;
    const auto begin = Clock::now();
    EXPECT_TRUE(mutex->Release());
    waiter.join();
    EXPECT_EQ(result, Result::Acquired);
    EXPECT_LT(Clock::now() - begin, milliseconds(5000));
    ::munmap(memory, 4096);
}

TEST_F(Robust_Mutex, OfAKilledHolderIsAbandonedAsOftenAsItsNextHoldersDie) {
    const auto mutex = Open_Robust_Mutex(name);
    Child_Process first([this] { return Hold_Until_Killed(); });
    Expect_Held(*mutex);
    EXPECT_EQ(first.Kill(), -SIGKILL);
    for (int count = 0; count < 3; ++count) {
        EXPECT_EQ(Child_Process([this] {
                      const auto opened = Open_Robust_Mutex(name);
                      return opened ? static_cast<int>(opened->Wait(0)) : 100;
                  }).Wait(),
                  static_cast<int>(Result::Abandoned));
    }
    EXPECT_EQ(mutex->Wait(0), Result::Abandoned);
    EXPECT_TRUE(mutex->Release());
    EXPECT_EQ(mutex->Wait(0), Result::Acquired);
    EXPECT_TRUE(mutex->Release());
}

TEST_F(Robust_Mutex, AStoppedHolderIsNotWaitedForLongerThanAsked) {
    const auto mutex = Open_Robust_Mutex(name);
    const Child_Process holder([this] { return Hold_Until_Killed(); });
    Expect_Held(*mutex);
    holder.Signal(SIGSTOP);
    const auto begin = Clock::now();
    EXPECT_EQ(mutex->Wait(1100), Result::Timed_Out);
    EXPECT_GE(Clock::now() - begin, milliseconds(1090));
    EXPECT_LT(Clock::now() - begin, milliseconds(10000));
}

TEST_F(Robust_Mutex, IsNotHeldByAForkedChildAndASecondWaitOfItsHolderDoesNotHang) {
    const auto mutex = Open_Robust_Mutex(name);
    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    EXPECT_EQ(Child_Process([&] {
                  return (mutex->Release() ? 1 : 0) + (mutex->Wait(0) == Result::Timed_Out ? 0 : 2);
              }).Wait(),
              0);
    EXPECT_EQ(mutex->Wait(20000), Result::Failed);
    EXPECT_EQ(mutex->Last_Error(), 1131u);
    EXPECT_TRUE(mutex->Release());
}

TEST_F(Robust_Mutex, OnlyItsUserMayOpenItWhateverTheUmask) {
    for (const mode_t umask : {0, 0777}) {
        const mode_t umask_before = ::umask(umask);
        ASSERT_NE(Open_Robust_Mutex(name), nullptr);
        ::umask(umask_before);
        EXPECT_EQ(Object_Status().st_mode & 07777, mode_t{0600});
        EXPECT_EQ(Object_Status().st_uid, ::geteuid());
        ::shm_unlink(name.c_str());
    }
}

TEST_F(Robust_Mutex, AnObjectOfSomebodyElseIsRefused) {
    if (::geteuid() == 0) {
        const int object = Make_Object(0600, 0);
        ASSERT_EQ(::fchown(object, 65534, 65534), 0);
        ::close(object);
        EXPECT_EQ(Open_Robust_Mutex(name), nullptr);
    } else if (struct stat memory{}; ::stat("/dev/shm", &memory) == 0 && memory.st_uid == ::geteuid()) {
        GTEST_SKIP() << "only root can make an object of somebody else in this /dev/shm";
    } else {
        // An object that root owns cannot be made here; /dev/shm itself stands for one.
        EXPECT_EQ(Open_Robust_Mutex("/."), nullptr);
    }
}

TEST_F(Robust_Mutex, AnObjectOpenToOthersOrOfAnotherSizeAndALinkAreRefused) {
    ::close(Make_Object(0666, 0));
    EXPECT_EQ(Open_Robust_Mutex(name), nullptr);
    ::shm_unlink(name.c_str());
    ::close(Make_Object(0600, 7));
    EXPECT_EQ(Open_Robust_Mutex(name), nullptr);
    EXPECT_EQ(Object_Status().st_size, 7);
    ::shm_unlink(name.c_str());
    ASSERT_EQ(::symlink("/dev/shm/qel-test-target", ("/dev/shm" + name).c_str()), 0);
    EXPECT_EQ(Open_Robust_Mutex(name), nullptr);
}

TEST_F(Robust_Mutex, IsNotOpenedWhereItCannotBePrepared) {
    s_no_attributes = true;
    EXPECT_EQ(Open_Robust_Mutex(name), nullptr);
    s_no_attributes = false;
    EXPECT_NE(Open_Robust_Mutex(name), nullptr);
}

TEST_F(Robust_Mutex, AnObjectLeftUnpreparedIsPreparedAndAProcessStoppedInThatNotWaitedFor) {
    ASSERT_NE(Open_Robust_Mutex(name), nullptr);
    const off_t size = Object_Status().st_size;
    ::shm_unlink(name.c_str());
    const int object = Make_Object(0600, size); // as a process leaves it that is killed behind the size
    ASSERT_EQ(::flock(object, LOCK_EX), 0);
    const auto begin = Clock::now();
    EXPECT_EQ(Open_Robust_Mutex(name), nullptr);
    EXPECT_LT(Clock::now() - begin, milliseconds(20000));
    ::close(object);
    const auto mutex = Open_Robust_Mutex(name);
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(mutex->Wait(0), Result::Acquired);
    EXPECT_TRUE(mutex->Release());
}

TEST_F(Robust_Mutex, ManyProcessesOpenItAtOnce) {
    constexpr int processes = 8;
    constexpr int turns = 300;
    void* address = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(address, MAP_FAILED);
    volatile int* unguarded = static_cast<int*>(address);
    std::vector<std::unique_ptr<Child_Process>> children;
    for (int number = 0; number < processes; ++number) {
        children.push_back(std::make_unique<Child_Process>([&] {
            const auto mutex = Open_Robust_Mutex(name);
            for (int turn = 0; turn < turns; ++turn) {
                if (!mutex || mutex->Wait(60000) != Result::Acquired) {
                    return 1;
                }
                *unguarded = *unguarded + 1;
                if (!mutex->Release()) {
                    return 2;
                }
            }
            return 0;
        }));
    }
    for (auto& child : children) {
        EXPECT_EQ(child->Wait(), 0);
    }
    EXPECT_EQ(*unguarded, processes * turns);
    ::munmap(address, 4096);
}

} // namespace
