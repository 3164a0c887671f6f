// The trace of whole requests against the expected files in this folder, on both platforms. They are what a trace of
// the cache looks like; the records of every other kind of request are a test of the product by itself.

#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/support/Normalised_Trace.h"

namespace QEL::Tests {

namespace {

class Trace_Of : public Web_Cache_Fixture {
protected:
    Trace_Of() {
        Publish("landscape.xml", "<landscape/>");
        m_Trace.Replace(Cache_Directory() + "\\", "DIRECTORY/");
        m_Trace.Replace(Cache_Directory(), "DIRECTORY");
        const std::string origin = Url("");
        m_Trace.Replace(origin.substr(origin.rfind(':')) + "/", ":PORT/");
    }

    void Expect_Trace(const std::string& expected_file) {
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        const std::string written = m_Trace.Read(Trace_File());
        EXPECT_EQ(written, Content_Of(Here(QEL_EXPECTED_TRACES) / expected_file));
        if (HasFailure()) {
            std::ofstream(testing::TempDir() + expected_file) << written;
        }
    }

private:
    Normalised_Trace m_Trace;
};

TEST_F(Trace_Of, StartAndFirstDownload) {
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Restart_Host();
    Get(Url("/landscape.xml"));
    Expect_Trace("first_download.trc");
}

TEST_F(Trace_Of, ReplacedFile) {
    Get(Url("/landscape.xml"));
    Publish("landscape.xml", "<changed/>", Second_Of_February_2020);
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Get(Url("/landscape.xml"));
    Expect_Trace("replaced_file.trc");
}

} // namespace

} // namespace QEL::Tests
