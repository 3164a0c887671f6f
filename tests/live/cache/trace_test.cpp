// The trace of a whole request against the expected file in this folder, on both platforms. It is what a trace of the
// cache looks like; the records of every other kind of request are a test of the product by itself.

#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/support/Normalised_Trace.h"

namespace QEL::Tests {

namespace {

TEST_F(Web_Cache_Fixture, TracesItsStartAndFirstDownload) {
    Publish("landscape.xml", "<landscape/>");
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Restart_Host();
    Get(Url("/landscape.xml"));
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);

    Normalised_Trace trace;
    trace.Replace(Cache_Directory() + "\\", "DIRECTORY/");
    trace.Replace(Cache_Directory(), "DIRECTORY");
    const std::string origin = Url("");
    trace.Replace(origin.substr(origin.rfind(':')) + "/", ":PORT/");
    const std::string written = trace.Read(Trace_File());
    EXPECT_EQ(written, Content_Of(Here(QEL_EXPECTED_TRACES) / "first_download.trc"));
    if (HasFailure()) {
        std::ofstream(testing::TempDir() + "first_download.trc") << written;
    }
}

} // namespace

} // namespace QEL::Tests
