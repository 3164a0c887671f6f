#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>

namespace QEL::Tests {
namespace {

using namespace ::testing;

/// What the tool reads from the traces that it has itself written.
class Traced_Tool : public Tool_Test {
protected:
    Traced_Tool() {
        std::filesystem::create_directory(m_Traces);
        server.Publish("/a.xml", "<a/>", "Tue, 01 Jan 2019 10:00:00 GMT");
    }

    Tool_Result Run_Traced(int level, const std::vector<std::string>& arguments) const {
        std::vector<std::string> all = {"--trace-level", std::to_string(level), "--trace-dir", m_Traces.string()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return Run_On_Cache(all);
    }

    /// "outcome request" of each call in all traces, without those of the cache directory.
    std::vector<std::string> Read_Requests() const {
        std::vector<std::string> arguments = {"trace", "--json"};
        for (const auto& name : Names_In(m_Traces)) {
            arguments.push_back((m_Traces / name).string());
        }
        const Tool_Result result = Run(arguments);
        EXPECT_EQ(result.exit_status, 0);
        EXPECT_THAT(result.err, IsEmpty());
        std::vector<std::string> requests;
        const auto report = nlohmann::json::parse(result.out);
        for (const auto& call : report["calls"]) {
            if (call["operation"] != "set_cache_directory") {
                const auto subject = call["request"].is_null() ? call["operation"] : call["request"];
                requests.push_back(call["outcome"].get<std::string>() + " " + subject.get<std::string>());
            }
        }
        return requests;
    }

    const std::filesystem::path m_Traces = m_Folder / "traces";
    Web_Server server;
};

TEST_F(Traced_Tool, EveryRequestIsShown) {
    for (const int level : {4, 5}) {
        std::filesystem::remove_all(m_Traces);
        std::filesystem::create_directory(m_Traces);
        Run_On_Cache({"clear"});
        const std::string url = server.Url("/a.xml");
        Run_Traced(level, {"get", url, url, server.Url("/missing.xml"), "/no/such/file"});
        EXPECT_THAT(Read_Requests(), ElementsAre("downloaded " + url, "fresh " + url,
                                                 "failed " + server.Url("/missing.xml"), "failed /no/such/file"))
            << level;
    }
}

TEST_F(Traced_Tool, WhatBecameOfAChangedFileAndAServerThatIsDown) {
    const std::string url = server.Url("/a.xml");
    Set_Expiry_Period(0);
    Run_On_Cache({"get", url});
    Run_Traced(5, {"get", url});
    EXPECT_THAT(Read_Requests(), ElementsAre("unchanged " + url));

    server.Publish("/a.xml", "<b/>", "Wed, 02 Jan 2019 10:00:00 GMT");
    Run_Traced(5, {"get", url});
    EXPECT_THAT(Read_Requests(), Contains("replaced " + url));

    server.Stop();
    Run_Traced(5, {"get", url});
    EXPECT_THAT(Read_Requests(), Contains("old_copy " + url));
    Run_Traced(5, {"clear"});
    Run_Traced(5, {"purge"});
    EXPECT_THAT(Read_Requests(), Contains("done clear"));
    EXPECT_THAT(Read_Requests(), Contains("done purge"));
}

TEST_F(Traced_Tool, LowerLevelsShowMessagesAndNoCalls) {
    for (const int level : {1, 2, 3}) {
        std::filesystem::remove_all(m_Traces);
        std::filesystem::create_directory(m_Traces);
        Run_Traced(level, {"get", server.Url("/a.xml"), "/no/such/file", "http://127.0.0.1:1/dead.xml"});
        EXPECT_THAT(Read_Requests(), IsEmpty()) << level;
        const std::string text = Run({"trace", (m_Traces / *Names_In(m_Traces).begin()).string()}).out;
        EXPECT_THAT(text, HasSubstr("there are no calls to show")) << level;
        EXPECT_THAT(text, HasSubstr("\n    the local file '/no/such/file' does not exist\n")) << level;
        EXPECT_THAT(text, HasSubstr("error 12029")) << level;
    }
}

TEST_F(Traced_Tool, AFileGivenTwiceCountsOnce) {
    Run_Traced(4, {"get", "/no/such/file"});
    const auto file = m_Traces / *Names_In(m_Traces).begin();
    const std::string once = Run({"trace", file.string()}).out;
    EXPECT_EQ(Run({"trace", file.string(), file.string()}).out, once);
    EXPECT_EQ(Run({"trace", file.string(), (m_Traces / "." / file.filename()).string()}).out, once);
}

TEST_F(Traced_Tool, StandardInputIsReadForADash) {
    Run_Traced(4, {"get", "/no/such/file"});
    Tool_Run run = A_Run({"trace", "-"});
    run.standard_input = Content_Of(m_Traces / *Names_In(m_Traces).begin());
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("the local file '/no/such/file' does not exist"));
    EXPECT_THAT(result.out, HasSubstr("standard input, line"));
}

TEST_F(Traced_Tool, ProcessesAtTheSameTimeAreAllShown) {
    const std::string url = server.Url("/a.xml");
    Run_On_Cache({"get", url});
    std::vector<std::thread> runs;
    for (int run = 0; run < 6; ++run) {
        runs.emplace_back([&] { Run_Traced(5, {"get", url, "/no/such/file", url}); });
    }
    for (auto& run : runs) {
        run.join();
    }
    const auto requests = Read_Requests();
    EXPECT_EQ(requests.size(), 18U);
    EXPECT_EQ(std::count(requests.begin(), requests.end(), "fresh " + url), 12);
    EXPECT_EQ(std::count(requests.begin(), requests.end(), "failed /no/such/file"), 6);
}

} // namespace
} // namespace QEL::Tests
