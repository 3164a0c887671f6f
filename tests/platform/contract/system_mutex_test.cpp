// The trace lock between threads and between processes.

#include "tests/support/Marking_Process.h"
#include "util/System_Mutex.h"

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::Util::Tracing::System_Mutex;
using Result = System_Mutex::Wait_Result;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

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

TEST_F(Trace_Lock, AWaitEndsWithItsTimeOrTheRelease) {
    ASSERT_EQ(mutex->Wait(0), Result::Acquired);
    In_Another_Thread([this] {
        const auto begin = Clock::now();
        EXPECT_EQ(mutex->Wait(150), Result::Timed_Out);
        EXPECT_GE(Clock::now() - begin, milliseconds(140));
        EXPECT_LT(Clock::now() - begin, milliseconds(5000));
    });
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
    In_Threads(8, [&](int) {
        for (int count = 0; count < 500; ++count) {
            ASSERT_EQ(mutex->Wait(60000), Result::Acquired);
            ++unguarded;
            ASSERT_TRUE(mutex->Release());
        }
    });
    EXPECT_EQ(unguarded, 4000);
}

TEST_F(Trace_Lock, ExcludesOtherProcesses) {
    const Other_Marking_Process holder("200");
    EXPECT_EQ(mutex->Wait(0), Result::Timed_Out);
    EXPECT_EQ(mutex->Wait(50), Result::Timed_Out);
    holder.Let_Go();
    EXPECT_EQ(mutex->Wait(30000), Result::Acquired);
    EXPECT_TRUE(mutex->Release());
}

TEST_F(Trace_Lock, TheDeathOfAHolderIsNoticedBeforeAndDuringTheWait) {
    for (const bool before : {false, true}) {
        Other_Marking_Process holder(before ? "0" : "300", "die");
        before ? holder.End() : holder.Let_Go();
        EXPECT_EQ(mutex->Wait(30000), Result::Abandoned);
        EXPECT_TRUE(mutex->Release());
        EXPECT_EQ(mutex->Wait(0), Result::Acquired);
        EXPECT_TRUE(mutex->Release());
    }
}

} // namespace
