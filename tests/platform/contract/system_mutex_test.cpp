// The trace lock between threads and between processes.

#include "tests/support/Scratch_Directory.h"
#include "util/Non_Copyable.h"
#include "util/Process.h"
#include "util/System_Mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace QEL::Tests {

namespace {

using FrontEnd::Util::Tracing::System_Mutex;
using Result = System_Mutex::Wait_Result;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Another process that holds the trace lock from the object's creation on, and for a while after Let_Go().
class Lock_Holder : private FrontEnd::Util::Non_Copyable {
public:
    Lock_Holder(milliseconds duration, const std::string& end) {
        const std::filesystem::path program = FrontEnd::Util::Program_Path();
        const std::string holder =
            (program.parent_path() / ("lock_holder" + program.extension().string())).make_preferred().string();
        std::string command = '"' + holder + "\" \"" + ready + "\" " + std::to_string(duration.count()) + " " + end;
#ifdef _WIN32
        command = '"' + command + '"'; // the command interpreter takes away the outer ones
#endif
        runner = std::thread([this, command] { status = std::system(command.c_str()); });
        const auto limit = Clock::now() + std::chrono::seconds(20);
        while (Content_Of(ready) != "held" && Clock::now() < limit) {
            std::this_thread::sleep_for(milliseconds(5));
        }
        held = Content_Of(ready) == "held";
    }
    ~Lock_Holder() {
        Join();
    }

    void Let_Go() {
        std::filesystem::remove(ready);
    }

    int Join() {
        Let_Go();
        if (runner.joinable()) {
            runner.join();
        }
        return status;
    }

    bool held = false;

private:
    Scratch_Directory scratch;
    const std::string ready = scratch / "ready";
    int status = -1;
    std::thread runner;
};

class Trace_Lock : public testing::Test {
protected:
    const std::shared_ptr<System_Mutex> mutex = System_Mutex::Open_Trace_Lock();

    void SetUp() override {
        ASSERT_NE(mutex, nullptr);
        // Whatever an earlier test left behind is not this one's.
        const Result result = mutex->Wait(10000);
        ASSERT_TRUE(result == Result::Acquired || result == Result::Abandoned);
        ASSERT_TRUE(mutex->Release());
    }

    template <typename Action>
    static void In_Another_Thread(Action action) {
        std::thread(action).join();
    }
};

TEST_F(Trace_Lock, IsTheSameHoweverOftenItIsOpened) {
    const auto other = System_Mutex::Open_Trace_Lock();
    ASSERT_NE(other, nullptr);
    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    In_Another_Thread([&] { EXPECT_EQ(other->Wait(0), Result::Timed_Out); });
    EXPECT_TRUE(mutex->Release());
    In_Another_Thread([&] {
        EXPECT_EQ(other->Wait(0), Result::Acquired);
        EXPECT_TRUE(other->Release());
    });
}

TEST_F(Trace_Lock, AWaitEndsWithItsTime) {
    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    In_Another_Thread([this] {
        const auto begin = Clock::now();
        EXPECT_EQ(mutex->Wait(150), Result::Timed_Out);
        EXPECT_GE(Clock::now() - begin, milliseconds(140));
        EXPECT_LT(Clock::now() - begin, milliseconds(5000));
    });
    EXPECT_TRUE(mutex->Release());
}

TEST_F(Trace_Lock, AWaitEndsWithTheRelease) {
    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    std::thread waiter([this] {
        const auto begin = Clock::now();
        EXPECT_EQ(mutex->Wait(30000), Result::Acquired);
        EXPECT_LT(Clock::now() - begin, milliseconds(10000));
        EXPECT_TRUE(mutex->Release());
    });
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_TRUE(mutex->Release());
    waiter.join();
}

TEST_F(Trace_Lock, OnlyItsHolderReleasesIt) {
    EXPECT_FALSE(mutex->Release());
    EXPECT_EQ(mutex->Last_Error(), 288u);
    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    In_Another_Thread([this] {
        EXPECT_FALSE(mutex->Release());
        EXPECT_EQ(mutex->Last_Error(), 288u);
        EXPECT_EQ(mutex->Wait(0), Result::Timed_Out);
    });
    EXPECT_TRUE(mutex->Release());
    EXPECT_FALSE(mutex->Release());
}

TEST_F(Trace_Lock, TheEndOfAThreadThatHoldsItIsNoticed) {
    In_Another_Thread([this] { EXPECT_EQ(mutex->Wait(0), Result::Acquired); });
    EXPECT_EQ(mutex->Wait(10000), Result::Abandoned);
    EXPECT_TRUE(mutex->Release());
    EXPECT_EQ(mutex->Wait(0), Result::Acquired);
    EXPECT_TRUE(mutex->Release());
}

TEST_F(Trace_Lock, ThreadsTakeTurns) {
    int unguarded = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&] {
            for (int count = 0; count < 500; ++count) {
                ASSERT_EQ(mutex->Wait(60000), Result::Acquired);
                ++unguarded;
                ASSERT_TRUE(mutex->Release());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(unguarded, 4000);
}

TEST_F(Trace_Lock, ExcludesOtherProcesses) {
    Lock_Holder holder(milliseconds(200), "release");
    ASSERT_TRUE(holder.held);
    EXPECT_EQ(mutex->Wait(0), Result::Timed_Out);
    EXPECT_EQ(mutex->Wait(50), Result::Timed_Out);
    holder.Let_Go();
    EXPECT_EQ(mutex->Wait(30000), Result::Acquired);
    EXPECT_TRUE(mutex->Release());
    EXPECT_EQ(holder.Join(), 0);
}

TEST_F(Trace_Lock, TheDeathOfAHolderIsNoticedBeforeAndDuringTheWait) {
    for (const bool before : {false, true}) {
        Lock_Holder holder(milliseconds(before ? 0 : 300), "die");
        ASSERT_TRUE(holder.held);
        holder.Let_Go();
        EXPECT_EQ(before ? holder.Join() : 0, 0);
        EXPECT_EQ(mutex->Wait(30000), Result::Abandoned);
        EXPECT_TRUE(mutex->Release());
        EXPECT_EQ(mutex->Wait(0), Result::Acquired);
        EXPECT_TRUE(mutex->Release());
        EXPECT_EQ(holder.Join(), 0);
    }
}

} // namespace

} // namespace QEL::Tests
