#include "tests/unit/trace/support/Trace_Fixture.h"
#include "trace/Tracing.h"

using QEL::FrontEnd::FileCache::Get_Tracer;
using QEL::FrontEnd::FileCache::Tracing;

namespace {

/// The only test of its program: nothing was traced and no level was set before it.
class Process_Start : public Trace_Fixture {};

TEST_F(Process_Start, TheFirstLookAtTheWriterMakesOneOfLevel0AndTheFirstLineAsksForTheLimit) {
    EXPECT_EQ(CQelPcTrc::s_Main_Trace_Level, 0);

    std::vector<Tracing*> looks(8);
    QEL::Tests::In_Threads(8, [&looks](int thread) { looks[static_cast<std::size_t>(thread)] = Get_Tracer(); });
    const std::set<Tracing*> writers(looks.begin(), looks.end());
    ASSERT_EQ(writers.size(), 1U) << "one for all threads";
    ASSERT_NE(*writers.begin(), nullptr);

    CQelPcTrc& writer = (*writers.begin())->trace();
    EXPECT_EQ(writer.m_Level, QELPCTRC_OFF);
    EXPECT_EQ(writer.m_Options, 1U);
    EXPECT_STREQ(writer.m_File_Name.data(), "qelfilecache_0007.trc");
    writer.Log_Error("e\n");
    writer.Log_Warning("w\n");
    writer.Log_Developer_Note("n\n");
    writer.Log_Additional_Data("d\n");
    EXPECT_TRUE(Is_Directory_Empty());

    g_services.length_signal = std::make_shared<int>();
    long holders = 0;
    mutex->during_release = [&holders] { holders = g_services.length_signal.use_count(); };
    QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
    Get_Tracer()->trace().Log_Error("e\n");
    EXPECT_EQ(holders, 2) << "the signal is held while a line is written, where the length of files is limited";
}

} // namespace
