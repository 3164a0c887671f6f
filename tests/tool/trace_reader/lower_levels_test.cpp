#include "tests/tool/trace_reader/Written_Trace.h"

#include "tools/trace_reader/messages.h"

#include <gmock/gmock.h>

namespace QEL::Tests {
namespace {

using namespace ::testing;

const std::string failed_download =
    "HTTP GET request failed with status 404. On HTTP error we cannot download the file.";

TEST(Lower_Levels, EachMessageHasItsMeaning) {
    Written_Trace trace;
    trace.Error("Get_Cached_File_and_Status", "Previously cached local file does not exist '/a'.");
    trace.Error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'Default'.");
    trace.Warning("Deserialize", "Cached file does not exist. Entry ignored: entry #0, URL='u', <>");
    trace.Data("Download_File_Share", "Copied file '\\\\s\\x' to the cached file: '/c/1'.");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Outside_Of_Calls(read),
                ElementsAre("7: Get_Cached_File_and_Status: the local file '/a' does not exist",
                            "7: Process_Inet_URL_By_WinInet: the second attempt accepts no certificate error",
                            "7: Deserialize: the copy of 'u' is missing: its entry is forgotten",
                            "7: Download_File_Share: "));
    std::vector<Severity> severities;
    for (const Record& record : read.records) {
        severities.push_back(record.severity);
    }
    EXPECT_THAT(severities, ElementsAre(Severity::Error, Severity::Note, Severity::Warning, Severity::Note));
}

TEST(Lower_Levels, AMessageBetweenCallsBelongsToNone) {
    Written_Trace trace;
    trace.Error("Download_Inet_URL", failed_download).Call("Clear").Return("Clear", "true");
    trace.Error("Download_Inet_URL", failed_download);
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("done clear"));
    ASSERT_THAT(read.outside, SizeIs(1));
    EXPECT_THAT(read.outside[0].records, ElementsAre(&read.records[0], &read.records[3]));
    EXPECT_TRUE(read.runs[0].has_entries);
}

TEST(Product_Messages, AreTakenFromTheProduct) {
    std::size_t count[4] = {};
    for (const Product_Message& message : Product_Messages()) {
        ++count[static_cast<std::size_t>(message.severity)];
        EXPECT_FALSE(message.format.ends_with("\n")) << message.format;
    }
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Error)], 40U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Warning)], 10U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Note)], 0U);
    EXPECT_GT(count[static_cast<std::size_t>(Severity::Data)], 40U);
}

TEST(Product_Messages, AreRecognisedAndEachProblemIsExplained) {
    for (const Product_Message& message : Product_Messages()) {
        std::string text = std::regex_replace(std::string(message.format), std::regex("%[dp]"), "12");
        text = std::regex_replace(text, std::regex("%s"), "/some where/it's.xml");
        const auto recognised = Recognise(text);
        ASSERT_NE(recognised.message, nullptr) << text;
        EXPECT_EQ(recognised.message->format, message.format);
        EXPECT_EQ(recognised.Cause().find_first_of("{}"), std::string::npos) << recognised.Cause();
        if (message.severity >= Severity::Warning) {
            EXPECT_FALSE(recognised.Cause().empty()) << text;
        }
    }
    EXPECT_EQ(Recognise("No message of the product").message, nullptr);
}

} // namespace
} // namespace QEL::Tests
