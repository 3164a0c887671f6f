#include "tests/unit/trace/support/Trace_Fixture.h"
#include "trace/Tracing.h"

#include <future>
#include <set>
#include <vector>

using QEL::FrontEnd::FileCache::Get_Tracer;
using QEL::FrontEnd::FileCache::Tracing;

namespace {

/// The only test of its program: nothing was traced and no level was set before it.
class Process_Start : public Trace_Fixture {};

TEST_F(Process_Start, TheFirstLookAtTheWriterMakesOneOfLevel0) {
    EXPECT_EQ(CQelPcTrc::s_Main_Trace_Level, 0);

    std::vector<std::future<Tracing*>> looks;
    for (int thread = 0; thread < 8; ++thread) {
        looks.push_back(std::async(std::launch::async, [] { return Get_Tracer(); }));
    }
    std::set<Tracing*> writers;
    for (auto& look : looks) {
        writers.insert(look.get());
    }
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
}

} // namespace
