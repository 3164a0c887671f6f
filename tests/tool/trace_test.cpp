#include "tests/tool/support/Tool_Fixture.h"

#include <algorithm>
#include <thread>

namespace QEL::Tests {
namespace {

using namespace ::testing;

/// What the tool reads from the traces that it has itself written.
class Traced_Tool : public Tool_Test {
protected:
    Tool_Result Run_Traced(int level, const Words& arguments) const {
        Words all = {"--trace-level", std::to_string(level), "--trace-dir", m_Traces.string()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return Run_On_Cache(all);
    }

    /// Runs it in a folder without traces.
    Tool_Result Run_Traced_Alone(int level, const Words& arguments) const {
        for (const auto& name : Names_In(m_Traces)) {
            std::filesystem::remove(m_Traces / name);
        }
        return Run_Traced(level, arguments);
    }

    std::string Trace_File() const { return (m_Traces / *Names_In(m_Traces).begin()).string(); }

    /// "outcome request" of each call in all traces, without those of the cache directory.
    Words Read_Requests() const {
        Words arguments = {"trace", "--json"};
        for (const auto& name : Names_In(m_Traces)) {
            arguments.push_back((m_Traces / name).string());
        }
        const Tool_Result result = Run(arguments);
        EXPECT_EQ(result.exit_status, 0);
        EXPECT_EQ(result.err, "");
        Words requests;
        const auto report = nlohmann::json::parse(result.out);
        for (const auto& call : report["calls"]) {
            if (call["operation"] != "set_cache_directory") {
                const auto subject = call["request"].is_null() ? call["operation"] : call["request"];
                requests.push_back(call["outcome"].get<std::string>() + " " + subject.get<std::string>());
            }
        }
        return requests;
    }

    const std::filesystem::path m_Traces = m_Scratch.Make_Directory("traces");
};

TEST_F(Traced_Tool, EveryRequestIsShown) {
    const std::string missing = m_Server.Url("/missing.xml");
    for (const int level : {4, 5}) {
        Run_On_Cache({"clear"});
        Run_Traced_Alone(level, {"get", m_Url, m_Url, missing, "/no/such/file"});
        EXPECT_THAT(Read_Requests(),
                    ElementsAre("downloaded " + m_Url, "fresh " + m_Url, "failed " + missing, "failed /no/such/file"))
            << level;
    }
}

TEST_F(Traced_Tool, WhatBecameOfAChangedFileAndAServerThatIsDown) {
    Set_Expiry_Period(0);
    Get_Copy(m_Url);
    const auto outcome_of = [this](const Words& command) {
        Run_Traced_Alone(5, command);
        return Read_Requests();
    };
    EXPECT_THAT(outcome_of({"get", m_Url}), ElementsAre("unchanged " + m_Url));
    m_Server.Publish("/a.xml", "<b/>", Tuesday);
    EXPECT_THAT(outcome_of({"get", m_Url}), ElementsAre("replaced " + m_Url));
    m_Server.Stop();
    EXPECT_THAT(outcome_of({"get", m_Url}), ElementsAre("old_copy " + m_Url));
    EXPECT_THAT(outcome_of({"clear"}), ElementsAre("done clear"));
    EXPECT_THAT(outcome_of({"purge"}), ElementsAre("done purge"));
}

TEST_F(Traced_Tool, LowerLevelsShowMessagesAndNoCalls) {
    for (const int level : {1, 2, 3}) {
        Run_Traced_Alone(level, {"get", m_Url, "/no/such/file", "http://127.0.0.1:1/dead.xml"});
        EXPECT_THAT(Read_Requests(), IsEmpty()) << level;
        EXPECT_THAT(Run({"trace", Trace_File()}).out,
                    AllOf(HasSubstr("there are no calls to show"),
                          HasSubstr("\n    the local file '/no/such/file' does not exist\n"), HasSubstr("error 12029")))
            << level;
    }
}

TEST_F(Traced_Tool, AFileGivenTwiceCountsOnceAndADashIsStandardInput) {
    Run_Traced(4, {"get", "/no/such/file"});
    const std::string file = Trace_File();
    const std::string once = Run({"trace", file}).out;
    EXPECT_EQ(Run({"trace", file, file}).out, once);
    EXPECT_EQ(Run({"trace", file, "./traces/" + std::filesystem::path(file).filename().string()}).out, once);

    Tool_Run run = A_Run({"trace", "-"});
    run.standard_input = Content_Of(file);
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("the local file '/no/such/file' does not exist"), HasSubstr("standard input, line")));
}

TEST_F(Traced_Tool, ProcessesAtTheSameTimeAreAllShown) {
    Get_Copy(m_Url);
    std::vector<std::thread> runs;
    for (int run = 0; run < 6; ++run) {
        runs.emplace_back([&] { Run_Traced(5, {"get", m_Url, "/no/such/file", m_Url}); });
    }
    for (auto& run : runs) {
        run.join();
    }
    const auto requests = Read_Requests();
    EXPECT_EQ(requests.size(), 18U);
    EXPECT_EQ(std::count(requests.begin(), requests.end(), "fresh " + m_Url), 12);
    EXPECT_EQ(std::count(requests.begin(), requests.end(), "failed /no/such/file"), 6);
}

} // namespace
} // namespace QEL::Tests
