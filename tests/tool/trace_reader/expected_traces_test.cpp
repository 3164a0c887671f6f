#include "tests/tool/trace_reader/Written_Trace.h"
#include "tests/unit/support/Expected_Records.h"

#include <gmock/gmock.h>

namespace QEL::Tests {
namespace {

using ::testing::ElementsAre;

std::string First_Download() {
    return Recorded_Trace::First_Download("4711", "0x55d0c8a41eb0", "12");
}

TEST(Expected_Traces, ShowTheirRequestAndNothingWrongWhereverTheyAreCutOff) {
    const std::string request = "http://127.0.0.1:PORT/landscape.xml -> DIRECTORY/UUID.xml";
    const std::vector<std::string> calls = {"done instance", "done set_cache_directory DIRECTORY",
                                            "downloaded " + request};
    const std::string whole = First_Download();
    EXPECT_EQ(Calls_In(whole), calls);
    EXPECT_EQ(Calls_In(std::regex_replace(whole, std::regex("\n"), "\r\n")), calls) << "line ends of Windows";
    for (std::size_t length = 1; length < whole.size(); length += 3) {
        const Trace trace = Read({whole.substr(0, length)});
        ASSERT_LE(trace.calls.size(), calls.size()) << length;
        for (std::size_t index = 0; index < trace.calls.size(); ++index) {
            const Call& call = trace.calls[index];
            const bool is_last = index + 1 == trace.calls.size();
            EXPECT_TRUE(In_A_Line(call) == calls[index] ||
                        (is_last && (call.outcome == Outcome::Cut_Off || call.operation == Operation::Start)))
                << length << ": " << In_A_Line(call);
        }
    }
}

TEST(Expected_Trace, NestsItsRecords) {
    const Trace trace = Read({First_Download()});
    std::vector<std::string> nested;
    for (const Record& record : trace.records) {
        if (record.kind == Record_Kind::Call) {
            nested.push_back(std::string(record.depth, ' ') + std::string(record.method));
        }
    }
    EXPECT_THAT(nested,
                ElementsAre("CFileCache", " Initialize_Mime", "Set_Cache_Directory", " Deserialize",
                            "Get_Cached_File_and_Status", " Cleanup_Obsolete_Cached_Files", "  Delete_Cached_Files",
                            " Normalize_if_File_URL", // neither the sweep nor its step has an exit
                            "  Is_File_URL", " Is_Local", "  Is_Inet_URL", " Is_File_Share", " Is_Local",
                            "  Is_Inet_URL", " Is_Inet_URL", " Get_Cached_Remote_File", "  Download_Inet_URL",
                            "   HTTP_Status_OK", "   Generate_Cached_File_Name_from_Contents",
                            "    Generate_Cached_File_Name_from_Mime_Type", "     Filter_Dangerous_Extensions",
                            "   Persist_Downloaded_File_Metadata", "    Remove_From_Cache", "    Serialize"));
}

} // namespace
} // namespace QEL::Tests
