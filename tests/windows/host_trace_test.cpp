// The trace of whole requests against the same expected files as on Linux.

#include "tests/support/Normalised_Trace.h"
#include "tests/windows/Host_Fixture.h"

namespace QEL::Tests {

namespace {

class Host_Trace_Of : public Host_Fixture {
protected:
    Host_Trace_Of() {
        Publish("landscape.xml", "<landscape/>", First_Of_2019);
        m_Trace.Replace(Cache_Directory() + "\\", "DIRECTORY/");
        m_Trace.Replace(Cache_Directory(), "DIRECTORY");
        const std::string server = Variable("QEL_TEST_HTTP");
        m_Trace.Replace(server.substr(server.rfind(':')) + "/", ":PORT/");
    }

    static void Start_Trace() { FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA); }

    void Expect_Trace(const std::string& expected_file) {
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        const std::string written = m_Trace.Read(Trace_File());
        EXPECT_EQ(written, Content(Here(QEL_EXPECTED_TRACES) / expected_file));
    }

private:
    Normalised_Trace m_Trace;
};

TEST_F(Host_Trace_Of, StartAndFirstDownload) {
    Start_Trace();
    Restart_Host();
    Get(Url("/landscape.xml"));
    Expect_Trace("first_download.trc");
}

TEST_F(Host_Trace_Of, FreshHit) {
    Set_Expiry_Minutes(60);
    Get(Url("/landscape.xml"));
    Start_Trace();
    Get(Url("/landscape.xml"));
    Expect_Trace("fresh_hit.trc");
}

TEST_F(Host_Trace_Of, UnchangedFile) {
    Get(Url("/landscape.xml"));
    Start_Trace();
    Get(Url("/landscape.xml"));
    Expect_Trace("unchanged_file.trc");
}

TEST_F(Host_Trace_Of, ReplacedFile) {
    Get(Url("/landscape.xml"));
    Publish("landscape.xml", "<changed/>", Second_Of_February_2020);
    Start_Trace();
    Get(Url("/landscape.xml"));
    Expect_Trace("replaced_file.trc");
}

TEST_F(Host_Trace_Of, MissingFile) {
    Start_Trace();
    Get(Url("/missing.xml"));
    Expect_Trace("missing_file.trc");
}

} // namespace

} // namespace QEL::Tests
