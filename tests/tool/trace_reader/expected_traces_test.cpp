#include "tests/tool/trace_reader/Written_Trace.h"

#include <gmock/gmock.h>

namespace QEL::Tests {
namespace {

using ::testing::ElementsAre;

constexpr const char* recorded_url = "http://127.0.0.1:PORT/landscape.xml";

/// The traces that whole requests are compared with, with numbers in the place of what varies.
std::string Expected_Trace(const std::string& name) {
    std::ostringstream content;
    content << std::ifstream(std::string(QEL_EXPECTED_TRACES) + "/" + name, std::ios::binary).rdbuf();
    std::string text = std::regex_replace(content.str(), std::regex("TID: #"), "TID: 4711");
    text = std::regex_replace(text, std::regex("/#: "), "/12: ");
    text = std::regex_replace(text, std::regex("\\[@\\]"), "[0x55d0c8a41eb0]");
    return std::regex_replace(text, std::regex("\r\n"), "\n");
}

/// The same as a trace with time stamps has it.
std::string With_Time_Stamps(const std::string& text) {
    const std::string stamp = "(21.11.26 10:20:16) ";
    const std::string pieces = "$1" + stamp + "(" + stamp + "$2" + stamp + ")\n";
    std::string result = std::regex_replace(text, std::regex("(/12: CALL|return value:)\\(([^\n]*\n?)\\)\n"), pieces);
    result = std::regex_replace(result, std::regex("\\*\\*\\*(ERROR\\*|WARNING)\\*\\*: "), "");
    return std::regex_replace(result, std::regex("(^|\n)(?=TID|\\*)"), "$1" + stamp);
}

struct Case {
    const char* file;
    std::vector<std::string> calls;
};

class Expected_Traces : public ::testing::TestWithParam<Case> {};

TEST_P(Expected_Traces, ShowTheirRequest) {
    const std::string text = Expected_Trace(GetParam().file);
    EXPECT_EQ(Calls_In(text), GetParam().calls);
    EXPECT_EQ(Calls_In(std::regex_replace(text, std::regex("\n"), "\r\n")), GetParam().calls) << "line ends of Windows";
}

TEST_P(Expected_Traces, ShowTheSameWithTimeStamps) {
    const Trace trace = Read({With_Time_Stamps(Expected_Trace(GetParam().file))});
    EXPECT_EQ(Calls_Of(trace), GetParam().calls);
    for (const Record& record : trace.records) {
        EXPECT_NE(record.time, No_Time) << record.line;
        EXPECT_EQ(record.text.find("(21.11.26"), std::string_view::npos) << record.text;
        EXPECT_FALSE(record.incomplete) << record.text;
    }
}

TEST_P(Expected_Traces, ShowNothingWrongWhereverTheyAreCutOff) {
    const std::string whole = Expected_Trace(GetParam().file);
    const auto complete = Calls_In(whole);
    for (std::size_t length = 1; length < whole.size(); length += 3) {
        const Trace trace = Read({whole.substr(0, length)});
        ASSERT_LE(trace.calls.size(), complete.size()) << length;
        for (std::size_t index = 0; index < trace.calls.size(); ++index) {
            const Call& call = trace.calls[index];
            const bool may_be_incomplete = index + 1 == trace.calls.size();
            if (!may_be_incomplete) {
                EXPECT_EQ(In_A_Line(call), complete[index]) << length;
            } else {
                EXPECT_TRUE(call.outcome == Outcome::Cut_Off || call.operation == Operation::Start ||
                            In_A_Line(call) == complete[index])
                    << length << ": " << In_A_Line(call);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Expected_Traces,
                         ::testing::Values(Case{"first_download.trc",
                                                {"done instance", "done set_cache_directory DIRECTORY",
                                                 std::string("downloaded ") + recorded_url + " -> DIRECTORY/UUID.xml"}},
                                           Case{"replaced_file.trc",
                                                {std::string("replaced ") + recorded_url + " -> DIRECTORY/UUID.xml"}}),
                         [](const auto& test_case) {
                             const std::string file = test_case.param.file;
                             return file.substr(0, file.find('.'));
                         });

TEST(Expected_Trace, NestsItsRecords) {
    const Trace trace = Read({Expected_Trace("replaced_file.trc")});
    std::vector<std::string> nested;
    for (const Record& record : trace.records) {
        if (record.kind == Record_Kind::Call) {
            nested.push_back(std::string(record.depth, ' ') + std::string(record.method));
        }
    }
    EXPECT_THAT(nested,
                ElementsAre("Get_Cached_File_and_Status", " Cleanup_Obsolete_Cached_Files", " Normalize_if_File_URL",
                            "  Is_File_URL", " Is_Local", "  Is_Inet_URL", " Is_File_Share", " Is_Local",
                            "  Is_Inet_URL", " Is_Inet_URL", " Get_Cached_Remote_File", "  Is_Inet_URL_Expired",
                            "   HTTP_Status_OK", "  Download_Inet_URL", "   HTTP_Status_OK",
                            "   Generate_Cached_File_Name_from_Contents",
                            "    Generate_Cached_File_Name_from_Mime_Type", "     Filter_Dangerous_Extensions",
                            "   Persist_Downloaded_File_Metadata", "    Remove_From_Cache", "     Is_Local",
                            "      Is_Inet_URL", "      Is_File_URL", "      Is_File_Share", "    Serialize"));
}

TEST(Expected_Trace, NestsBehindMethodsThatEndSilently) {
    const Trace trace = Read({Expected_Trace("first_download.trc")});
    const auto depth_of = [&](std::string_view method) {
        const auto call = std::find_if(trace.records.begin(), trace.records.end(), [&](const Record& record) {
            return record.kind == Record_Kind::Call && record.method == method;
        });
        return call == trace.records.end() ? -1 : call->depth;
    };
    EXPECT_EQ(depth_of("Delete_Cached_Files"), 2);
    EXPECT_EQ(depth_of("Normalize_if_File_URL"), 1) << "neither the sweep nor its step has an exit";
    EXPECT_EQ(depth_of("Set_Cache_Directory"), 0);
    EXPECT_EQ(depth_of("Deserialize"), 1);
}

} // namespace
} // namespace QEL::Tests
