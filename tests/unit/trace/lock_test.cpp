#include "tests/unit/trace/support/Trace_Fixture.h"

#include <future>
#include <mutex>
#include <sstream>
#include <vector>

using QEL::FrontEnd::Util::Tracing::System_Mutex;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Trace_Lock : public Trace_Fixture {
protected:
    CQelPcTrc Locked_Writer(QELPCTRC_LEVEL level = QELPCTRC_ADDITIONAL_DATA) const {
        return CQelPcTrc("writer.trc", level, CQelPcTrc::Option_System_Lock, mutex);
    }

    /// Writes one message; returns what the standard error stream received.
    static std::string Complaint_About(CQelPcTrc& writer) {
        Captured_Stderr standard_error;
        writer.Log_Additional_Data("message\n");
        return standard_error.Take();
    }

    const std::string complete = On_Disk(Header() + "message\n");
};

TEST_F(Trace_Lock, IsTakenBeforeTheWriteAndGivenBackBehindIt) {
    std::string content_at_wait = "not asked";
    std::string content_at_release;
    bool file_at_wait = true;
    mutex->during_wait = [&] {
        file_at_wait = std::filesystem::exists(directory / "writer.trc");
        content_at_wait = Content();
    };
    mutex->during_release = [&] { content_at_release = Content(); };
    CQelPcTrc writer = Locked_Writer();
    EXPECT_EQ(Complaint_About(writer), "");
    EXPECT_THAT(mutex->calls, ElementsAre("Wait(60000)", "Release"));
    EXPECT_FALSE(file_at_wait) << "the file is opened under the lock";
    EXPECT_EQ(content_at_release, complete) << "and flushed under it";

    EXPECT_EQ(Complaint_About(writer), "");
    EXPECT_EQ(content_at_wait, complete);
    EXPECT_EQ(content_at_release, complete + On_Disk("message\n"));
}

TEST_F(Trace_Lock, IsTakenForEachMessageThatIsWritten) {
    CQelPcTrc silent = Locked_Writer(QELPCTRC_ERROR);
    silent.Log_Warning("w");
    silent.Log_Developer_Note("n");
    silent.Log_Additional_Data("d");
    EXPECT_THAT(mutex->calls, IsEmpty());
    CQelPcTrc writer = Locked_Writer();
    writer.Log_Error("a");
    writer.Log_Warning("b");
    writer.Log_Developer_Note("c");
    writer.Log_Additional_Data("d");
    EXPECT_THAT(mutex->calls, ElementsAre("Wait(60000)", "Release", "Wait(60000)", "Release", "Wait(60000)", "Release",
                                          "Wait(60000)", "Release"));
}

TEST_F(Trace_Lock, IsLeftAloneWithoutTheOption) {
    for (const std::uint32_t options : {0U, 2U, 0xFFFFFFFEU}) {
        CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, options, mutex);
        EXPECT_EQ(Complaint_About(writer), "");
        EXPECT_EQ(Content(), complete);
    }
    EXPECT_THAT(mutex->calls, IsEmpty());

    CQelPcTrc without_mutex("writer.trc", QELPCTRC_ADDITIONAL_DATA, 0, nullptr);
    EXPECT_EQ(Complaint_About(without_mutex), "");
}

TEST_F(Trace_Lock, IsTakenWhateverTheOtherOptions) {
    CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, 0xFFFFFFFFU, mutex);
    EXPECT_EQ(Complaint_About(writer), "");
    EXPECT_THAT(mutex->calls, ElementsAre("Wait(60000)", "Release"));
}

TEST_F(Trace_Lock, ThatIsNotHadIsReportedAndTheLineWritten) {
    mutex->last_error = 6;
    for (const auto& [result, complaint] : {std::pair{System_Mutex::Wait_Result::Abandoned, "lock holder died"},
                                            {System_Mutex::Wait_Result::Timed_Out, "MUTEX timed out"},
                                            {System_Mutex::Wait_Result::Failed, "lock problem (6)"}}) {
        mutex->wait_result = result;
        mutex->calls.clear();
        CQelPcTrc writer = Locked_Writer();
        EXPECT_EQ(Complaint_About(writer), std::string("ERROR: QELPCTRC, ") + complaint + "\n");
        EXPECT_EQ(Content(), complete);
        EXPECT_THAT(mutex->calls, ElementsAre("Wait(60000)", "Release"));
        Captured_Stderr ignored;
        EXPECT_FALSE(writer.SetLock()) << "its caller is told";
    }
}

TEST_F(Trace_Lock, ThatFailsBothWaysIsReportedTwice) {
    mutex->wait_result = System_Mutex::Wait_Result::Timed_Out;
    mutex->release_result = false;
    mutex->last_error = 288;
    CQelPcTrc writer = Locked_Writer();
    const std::string twice = "ERROR: QELPCTRC, MUTEX timed out\nERROR: QELPCTRC, lock reset failed (288)\n";
    EXPECT_EQ(Complaint_About(writer), twice);
    EXPECT_EQ(Complaint_About(writer), twice) << "with each message";
}

TEST_F(Trace_Lock, ThatIsMissingIsReportedOnceAMessage) {
    CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, CQelPcTrc::Option_System_Lock, nullptr);
    EXPECT_EQ(Complaint_About(writer), "ERROR: QELPCTRC, invalid SetLock call (MUTEX is null)\n");
    EXPECT_EQ(Complaint_About(writer), "ERROR: QELPCTRC, invalid SetLock call (MUTEX is null)\n");
    EXPECT_EQ(Content(), complete + On_Disk("message\n"));
}

TEST_F(Trace_Lock, TellsItsCallerWhetherItWasTaken) {
    EXPECT_TRUE(Locked_Writer().SetLock());
    Captured_Stderr standard_error;
    CQelPcTrc without_mutex("writer.trc", QELPCTRC_ERROR, CQelPcTrc::Option_System_Lock, nullptr);
    EXPECT_FALSE(without_mutex.SetLock());
    without_mutex.ResetLock();
    EXPECT_EQ(standard_error.Take(), "ERROR: QELPCTRC, invalid SetLock call (MUTEX is null)\n");
}

TEST_F(Trace_Lock, ComplaintsStandAroundAMessageOnStandardError) {
    g_trace_services.trace_directory = (directory / "missing").string();
    mutex->wait_result = System_Mutex::Wait_Result::Timed_Out;
    mutex->release_result = false;
    CQelPcTrc writer = Locked_Writer();
    EXPECT_EQ(Complaint_About(writer),
              "ERROR: QELPCTRC, MUTEX timed out\n" + Header() + "message\nERROR: QELPCTRC, lock reset failed (0)\n");
}

/// A lock that works, within this process.
class Process_Mutex : public System_Mutex {
public:
    Wait_Result Wait(std::uint32_t) override {
        m_Mutex.lock();
        return Wait_Result::Acquired;
    }
    bool Release() override {
        m_Mutex.unlock();
        return true;
    }
    std::uint32_t Last_Error() const override { return 0; }

private:
    std::mutex m_Mutex;
};

TEST_F(Trace_Lock, KeepsTheMessagesOfSeveralThreadsApart) {
    constexpr int threads = 4;
    constexpr int messages = 200;
    {
        CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, CQelPcTrc::Option_System_Lock,
                         std::make_shared<Process_Mutex>());
        std::vector<std::future<void>> running;
        for (int thread = 0; thread < threads; ++thread) {
            running.push_back(std::async(std::launch::async, [&writer, thread] {
                for (int message = 0; message < messages; ++message) {
                    writer.Log_Error("thread %d message %d\n", thread, message);
                }
            }));
        }
    }

    std::string content = Content();
    ASSERT_TRUE(content.starts_with(On_Disk(Header())));
    std::vector<int> next(threads, 0);
    int lines = 0;
    std::istringstream text(content.substr(On_Disk(Header()).size()));
    for (std::string line; std::getline(text, line); ++lines) {
        int thread = 0;
        int message = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "***ERROR***: thread %d message %d", &thread, &message), 2) << line;
        EXPECT_EQ(message, next[static_cast<std::size_t>(thread)]++) << "in the order of the thread";
    }
    EXPECT_EQ(lines, threads * messages);
}

} // namespace
