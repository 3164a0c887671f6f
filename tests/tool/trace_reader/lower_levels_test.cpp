#include "tests/tool/trace_reader/Written_Trace.h"

#include "tools/trace_reader/message_catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace QEL::Tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string failed_check =
    "HTTP HEAD request failed with status 500. try to download/read the file directly, therefore expired = true.";
const std::string failed_download =
    "HTTP GET request failed with status 404. On HTTP error we cannot download the file.";

TEST(Lower_Levels, ErrorsOfOneRequestBelongTogether) {
    Written_Trace trace;
    trace.Heading("Error ").Error("Is_Inet_URL_Expired", failed_check).Error("Download_Inet_URL", failed_download);
    trace.Error("Is_Inet_URL_Expired", failed_check).Error("Download_Inet_URL", failed_download);
    trace.Error("Download_Inet_URL", failed_download);
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("not_told", "not_told", "not_told"));
    EXPECT_THAT(Explanations_In(trace.Text())[0], HasSubstr("status 404: not found; a trace of level 4 tells"));
}

TEST(Lower_Levels, RequestsAreToldApartByTheirUrl) {
    Written_Trace trace;
    const auto exception = [](const std::string& url) {
        return "COM exception: \n ====\nFile: " + url + "\nDescription: No route.\n \nWin32 error code: 12029";
    };
    trace.Error("Is_Inet_URL_Expired", exception("http://s/a"));
    trace.Error("Download_Inet_URL", exception("http://s/a"), "");
    trace.Error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'Default'.");
    trace.Error("Download_Inet_URL", exception("http://s/b"), "");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("not_told http://s/a", "not_told http://s/b"));
}

TEST(Lower_Levels, WhatNamesNoAddressIsGivenToNoneThatWasNamed) {
    const std::string refused =
        "COM exception: \n ====\nFile: http://s/a\nDescription: No.\n \nWin32 error code: 12029";
    Written_Trace trace;
    trace.Error("Download_Inet_URL", failed_download);
    trace.Error("Download_Inet_URL",
                "HTTP GET request failed with status 500. On HTTP error we cannot download the file.");
    trace.Error("Download_Inet_URL", refused, "");
    trace.Error("Process_Inet_URL_By_WinInet", "CertErrorHandlingMode: 'Default'.");
    trace.Error("Download_Inet_URL_By_WinInet",
                "HTTP request failed with status 12029. On HTTP error we cannot download the file.");
    trace.Error("Download_Inet_URL", failed_download);
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("not_told", "not_told", "not_told http://s/a", "not_told"));
    EXPECT_THAT(Explanations_In(trace.Text())[1], HasSubstr("status 500"));
    EXPECT_EQ(Read({trace.Text()}).calls[2].record_count, 3U);
}

TEST(Lower_Levels, WhatNamesAShareFileIsGivenToIt) {
    Written_Trace trace;
    trace.Error("Download_Inet_URL", "Downloading from URL 'https://s/a' failed.");
    trace.Warning("Download_File_Share",
                  "Trying to download a file share URL that cannot be stat-ed: '\\\\s\\x', error code 53.");
    trace.Error("Get_File_Content", "Failed to open file '\\\\s\\x'.");
    trace.Error("Download_File_Share",
                "Copy file failed for URL: '\\\\s\\x', cached file: '/c/1' , GetLastError returned 53.");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("not_told https://s/a", "not_told \\\\s\\x"));
    EXPECT_EQ(read.calls[1].record_count, 3U);
}

TEST(Lower_Levels, StepsThatSurelyFollowEachOtherBelongTogether) {
    Written_Trace trace;
    trace.Error("Is_Inet_URL_Expired", "Sending of HTTP HEAD request failed. HR=-1, LE=0.");
    trace.Error("Is_Inet_URL_Expired",
                "HEAD request from URL 'http://s/a' failed. try to download/read the file direct.");
    trace.Warning("Is_Inet_URL_Expired", "Last-Modified header is empty.");
    trace.Error("Download_Inet_URL", "Sending of GET HTTP request failed. HR=-1, LE=0.");
    trace.Error("Download_Inet_URL", "Downloading from URL 'http://s/b' failed.");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("not_told http://s/a", "not_told http://s/b"));
    EXPECT_EQ(Read({trace.Text()}).calls[0].record_count, 3U);
}

TEST(Lower_Levels, AMissingLocalFileIsARequestOfItsOwn) {
    Written_Trace trace;
    trace.Error("Download_Inet_URL", failed_download);
    trace.Error("Get_Cached_File_and_Status", "Previously cached local file does not exist '/a'.");
    trace.Error("Normalize_if_File_URL", "Unsupported file URL format unexpected at this time: 'file:b'.");
    trace.Error("Get_Cached_File_and_Status", "Previously cached local file does not exist ''.");
    EXPECT_THAT(Calls_In(trace.Text()), ElementsAre("not_told", "failed /a", "failed file:b"));
}

TEST(Lower_Levels, AForgottenEntryIsNoFailure) {
    Written_Trace trace;
    trace.Warning("Deserialize", "Cached file does not exist. Entry ignored: entry #0, URL='u', <>");
    const Trace read = Read({trace.Text()});
    EXPECT_THAT(Calls_Of(read), ElementsAre("not_told set_cache_directory"));
    EXPECT_EQ(read.calls[0].worst, Severity::Warning);
}

TEST(Lower_Levels, ThreadsAreToldApart) {
    const auto one =
        Written_Trace(1).Error("Is_Inet_URL_Expired", failed_check).Error("Download_Inet_URL", failed_download);
    const auto other =
        Written_Trace(2).Error("Is_Inet_URL_Expired", failed_check).Error("Download_Inet_URL", failed_download);
    const Trace trace = Read({Mixed(one, other)});
    ASSERT_EQ(trace.calls.size(), 2U);
    EXPECT_EQ(trace.calls[0].thread, 1);
    EXPECT_EQ(trace.calls[0].record_count, 2U);
    EXPECT_EQ(trace.calls[1].thread, 2);
}

TEST(Lower_Levels, WhatIsCertainIsSaid) {
    Written_Trace trace;
    trace.Error("Get_Cached_File_and_Status", "Previously cached local file does not exist '/a'.");
    trace.Error("Set_Cache_Directory", "Setting cache directory to non existing absolute_dir_path='/d'.");
    trace.Data("Download_File_Share", "Copied file '\\\\s\\x' to the cached file: '/c/1'.");
    EXPECT_THAT(Calls_In(trace.Text()),
                ElementsAre("failed /a", "failed set_cache_directory /d", "copied \\\\s\\x -> /c/1"));
}

/// The messages that the product writes, with their marks.
std::set<std::pair<std::string, Severity>> Messages_Of_The_Product() {
    std::set<std::pair<std::string, Severity>> messages;
    const std::regex call("TRACE_(ERROR|WARNING|NOTE)(_AS)?\\(\\s*(method,\\s*)?((\"(\\\\.|[^\"\\\\])*\"\\s*)+)");
    const std::regex literal("\"((\\\\.|[^\"\\\\])*)\"");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(QEL_PRODUCT)) {
        if (entry.path().extension() != ".cpp") {
            continue;
        }
        std::ostringstream content;
        content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        const std::string source = content.str();
        for (std::sregex_iterator found(source.begin(), source.end(), call), end; found != end; ++found) {
            const std::string literals = (*found)[4];
            std::string format;
            for (std::sregex_iterator part(literals.begin(), literals.end(), literal), none; part != none; ++part) {
                format += (*part)[1];
            }
            format = std::regex_replace(format, std::regex("(\\\\n)+$"), "");
            format = std::regex_replace(format, std::regex("\\\\n"), "\n");
            const std::string mark = (*found)[1];
            messages.emplace(format, mark == "ERROR"     ? Severity::Error
                                     : mark == "WARNING" ? Severity::Warning
                                                         : Severity::Note);
        }
    }
    return messages;
}

TEST(Message_Catalogue, HoldsEveryErrorWarningAndNoteOfTheProduct) {
    std::set<std::pair<std::string, Severity>> known;
    for (const Known_Message& message : Known_Messages()) {
        known.emplace(message.format, message.severity);
    }
    EXPECT_EQ(known, Messages_Of_The_Product());
}

TEST(Message_Catalogue, RecognisesEachMessageAsItself) {
    for (const Known_Message& message : Known_Messages()) {
        std::string text = std::regex_replace(std::string(message.format), std::regex("%d"), "12");
        text = std::regex_replace(text, std::regex("%s"), "/some where/it's.xml");
        const auto recognised = Recognise(text);
        ASSERT_NE(recognised.message, nullptr) << text;
        EXPECT_EQ(recognised.message->format, message.format);
        EXPECT_THAT(Cause(recognised).find_first_of("{}"), std::string::npos) << Cause(recognised);
        EXPECT_EQ(Cause(recognised).empty(), message.weight == Weight::None) << text;
    }
    EXPECT_EQ(Recognise("Adding to the cache: entry #0").message, nullptr);
}

} // namespace
} // namespace QEL::Tests
