#include "tests/live/cache/Web_Cache_Fixture.h"

#include "tests/support/Normalised_Trace.h"

using namespace QEL::Tests;

namespace {

/// The trace of whole requests against the expected files in this folder. Those are read by people
/// as well: they are what a trace of the cache looks like.
class Trace_Of : public Web_Cache_Fixture {
protected:
    Trace_Of() {
        // 2019-01-01 10:00:00 UTC, on every run.
        server.Write("landscape.xml", "<landscape/>");
        const std::chrono::sys_seconds stamp =
            std::chrono::sys_days{std::chrono::year{2019} / 1 / 1} + std::chrono::hours(10);
        std::filesystem::last_write_time(server.Files() / "landscape.xml", std::chrono::file_clock::from_sys(stamp));
        m_Trace.Replace(Cache_Directory(), "DIRECTORY");
        m_Trace.Replace(":" + std::to_string(server.Site().port) + "/", ":PORT/");
    }

    static void Start_Trace() { QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA); }

    void Expect_Trace(const std::string& expected_file) {
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        std::string written;
        for (const auto& entry : std::filesystem::directory_iterator(Home())) {
            if (entry.path().extension() == ".trc") {
                written = m_Trace.Read(entry.path());
            }
        }
        const std::string expected = Content(std::string(QEL_EXPECTED_TRACES) + "/" + expected_file);
        EXPECT_EQ(written, expected);
        if (HasFailure()) {
            std::ofstream(testing::TempDir() + expected_file) << written;
        }
    }

private:
    Normalised_Trace m_Trace;
};

TEST_F(Trace_Of, StartAndFirstDownload) {
    Start_Trace();
    Restart_Host();
    Get(Url("/landscape.xml"));
    Expect_Trace("first_download.trc");
}

TEST_F(Trace_Of, FreshHit) {
    Set_Expiry_Minutes(60);
    Get(Url("/landscape.xml"));
    Start_Trace();
    Get(Url("/landscape.xml"));
    Expect_Trace("fresh_hit.trc");
}

TEST_F(Trace_Of, UnchangedFile) {
    Get(Url("/landscape.xml"));
    Start_Trace();
    Get(Url("/landscape.xml"));
    Expect_Trace("unchanged_file.trc");
}

TEST_F(Trace_Of, ReplacedFile) {
    Get(Url("/landscape.xml"));
    server.Write("landscape.xml", "<changed/>");
    const std::chrono::sys_seconds stamp =
        std::chrono::sys_days{std::chrono::year{2020} / 2 / 2} + std::chrono::hours(11);
    std::filesystem::last_write_time(server.Files() / "landscape.xml", std::chrono::file_clock::from_sys(stamp));
    Start_Trace();
    Get(Url("/landscape.xml"));
    Expect_Trace("replaced_file.trc");
}

TEST_F(Trace_Of, MissingFile) {
    Start_Trace();
    Get(Url("/missing.xml"));
    Expect_Trace("missing_file.trc");
}

} // namespace
