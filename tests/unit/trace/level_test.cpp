#include "tests/unit/trace/support/Trace_Fixture.h"
#include "trace/Tracing.h"

using QEL::FrontEnd::FileCache::Get_Tracer;
using QEL::FrontEnd::FileCache::Set_Trace_Level;
using QEL::FrontEnd::FileCache::Tracing;
using QEL::FrontEnd::Util::Tracing::TracingAdaptor;
using testing::IsEmpty;

namespace {

static_assert(std::is_base_of_v<TracingAdaptor, Tracing>);
static_assert(sizeof(Tracing) == sizeof(TracingAdaptor), "adds nothing");

class Trace_Level : public Trace_Fixture {};

TEST_F(Trace_Level, MakesAWriterOfThatLevel) {
    for (int level = 0; level <= 5; ++level) {
        Set_Trace_Level(static_cast<QELPCTRC_LEVEL>(level));
        ASSERT_NE(Get_Tracer(), nullptr);
        EXPECT_EQ(Get_Tracer()->trace().m_Level, level);
        EXPECT_EQ(Get_Tracer()->trace().m_Options, 1U);
        EXPECT_FALSE(Get_Tracer()->trace().m_Stream);
    }
    EXPECT_TRUE(Is_Directory_Empty()) << "files come with the first message";
    Tracing* const writer = Get_Tracer();
    writer->trace().Log_Error("e\n");
    EXPECT_EQ(Get_Tracer(), writer) << "it stays until it is replaced";
}

TEST_F(Trace_Level, NamesTheFileAfterTheProcess) {
    const std::vector<std::pair<int, std::string>> names = {
        {7, "qelfilecache_0007.trc"},    {0, "qelfilecache_0000.trc"},      {123, "qelfilecache_0123.trc"},
        {9999, "qelfilecache_9999.trc"}, {12345, "qelfilecache_12345.trc"}, {2147483647, "qelfilecache_2147483647.trc"},
    };
    for (const auto& [process_id, name] : names) {
        g_services.process_id = process_id;
        Set_Trace_Level(QELPCTRC_ERROR);
        Get_Tracer()->trace().Log_Error("e\n");
        EXPECT_EQ(Content(name), On_Disk(Header() + "***ERROR***: e\n")) << name;
    }
    EXPECT_EQ(static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory), {})),
              names.size());
}

TEST_F(Trace_Level, StartsTheFileAfreshEachTimeItIsSet) {
    const std::string name = "qelfilecache_0007.trc";
    Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Get_Tracer()->trace().Log_Additional_Data("before\n");
    EXPECT_EQ(Content(name), On_Disk(Header() + "before\n"));

    Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    EXPECT_EQ(Content(name), On_Disk(Header() + "before\n")) << "not before the next message";
    Get_Tracer()->trace().Log_Additional_Data("behind\n");
    EXPECT_EQ(Content(name), On_Disk(Header() + "behind\n"));

    Set_Trace_Level(QELPCTRC_OFF);
    Get_Tracer()->trace().Log_Error("never\n");
    EXPECT_EQ(Content(name), On_Disk(Header() + "behind\n")) << "off leaves the file";
}

TEST_F(Trace_Level, LetsTheOldWriterGoWithItsFileAndLock) {
    // The system opens and closes files of its own now and then; writers that kept theirs would add up.
    constexpr int writers = 20;
    const auto open_before = QEL::Tests::Open_Files();
    for (int writer = 0; writer < writers; ++writer) {
        Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
        Get_Tracer()->trace().Log_Error("e\n");
        EXPECT_EQ(mutex.use_count(), 3) << "test, services, writer";
        Set_Trace_Level(QELPCTRC_OFF);
        EXPECT_EQ(mutex.use_count(), 2);
    }
    EXPECT_LT(QEL::Tests::Open_Files(), open_before + writers);
    EXPECT_TRUE(std::filesystem::remove(directory / "qelfilecache_0007.trc")) << "nobody holds it open";
}

TEST_F(Trace_Level, OpensTheLockForALevelThatWritesAloneAndForNoWriterThatTakesNone) {
    Set_Trace_Level(QELPCTRC_OFF);
    const TracingAdaptor writer("writer.trc", QELPCTRC_ERROR, 0);
    EXPECT_EQ(g_services.mutexes_opened, 0);
    for (int level = 1; level <= 5; ++level) {
        Set_Trace_Level(static_cast<QELPCTRC_LEVEL>(level));
        EXPECT_EQ(g_services.mutexes_opened, level);
    }
    Get_Tracer()->trace().Log_Error("e\n");
    EXPECT_THAT(mutex->calls, testing::ElementsAre("Wait(60000)", "Release"));
}

TEST_F(Trace_Level, WritesWithoutHoldingTheGuard) {
    bool returned = false;
    mutex->during_wait = [&] {
        auto tracer = std::async(std::launch::async, [] { return Get_Tracer(); });
        returned = tracer.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    };
    Set_Trace_Level(QELPCTRC_ERROR);
    Get_Tracer()->trace().Log_Error("e\n");
    EXPECT_TRUE(returned);
}

} // namespace
