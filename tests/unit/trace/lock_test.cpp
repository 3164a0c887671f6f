#include "tests/unit/trace/support/Trace_Fixture.h"

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

TEST_F(Trace_Lock, IsTakenForEachMessageThatIsWrittenWhateverTheOtherOptions) {
    CQelPcTrc writer("writer.trc", QELPCTRC_DEVELOPER_NOTE, 0xFFFFFFFFU, mutex);
    writer.Log_Additional_Data("never");
    EXPECT_THAT(mutex->calls, IsEmpty());
    writer.Log_Error("a");
    writer.Log_Warning("b");
    writer.Log_Developer_Note("c");
    EXPECT_THAT(mutex->calls,
                ElementsAre("Wait(60000)", "Release", "Wait(60000)", "Release", "Wait(60000)", "Release"));
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

TEST_F(Trace_Lock, ThatIsMissingIsReportedOnceAMessageAndToItsCaller) {
    EXPECT_TRUE(Locked_Writer().SetLock());
    CQelPcTrc writer("writer.trc", QELPCTRC_ADDITIONAL_DATA, CQelPcTrc::Option_System_Lock, nullptr);
    const std::string complaint = "ERROR: QELPCTRC, invalid SetLock call (MUTEX is null)\n";
    EXPECT_EQ(Complaint_About(writer), complaint);
    EXPECT_EQ(Complaint_About(writer), complaint);
    EXPECT_EQ(Content(), complete + On_Disk("message\n"));
    Captured_Stderr standard_error;
    EXPECT_FALSE(writer.SetLock());
    writer.ResetLock();
    EXPECT_EQ(standard_error.Take(), complaint);
}

TEST_F(Trace_Lock, ThatFailsBothWaysIsReportedAroundEachMessage) {
    g_services.trace_directory = (directory / "missing").string(); // to standard error
    mutex->wait_result = System_Mutex::Wait_Result::Timed_Out;
    mutex->release_result = false;
    mutex->last_error = 288;
    CQelPcTrc writer = Locked_Writer();
    for (const std::string& header : {Header(), std::string()}) {
        EXPECT_EQ(Complaint_About(writer), "ERROR: QELPCTRC, MUTEX timed out\n" + header +
                                               "message\nERROR: QELPCTRC, lock reset failed (288)\n");
    }
}

} // namespace
