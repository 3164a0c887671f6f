// The trace file of a whole request, on both platforms: the records that the tests of the product by itself expect.

#include "tests/live/cache/Web_Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

namespace QEL::Tests {

namespace {

void Replace_All(std::string& text, const std::string& part, const std::string& word) {
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + word.size())) {
        text.replace(at, part.size(), word);
    }
}

/// A trace without what differs from run to run and from platform to platform: thread ids, addresses, line numbers,
/// UUIDs and the program's path are each replaced by a fixed word.
std::string Normalised(std::string trace) {
    for (const auto& [pattern, word] : std::initializer_list<std::pair<const char*, const char*>>{
             {"TID: [0-9]+", "TID: #"},
             {R"(\[[0-9A-Fa-fx]+\]/[0-9]+: )", "[@]/#: "},
             {"(FileCache::[A-Za-z_0-9]+)/[0-9]+: ", "$1/#: "},
             {"(file_contents=|returned |INVALID_HANDLE_VALUE=|s_instance = )[0-9A-Fa-fx]{8,}", "$1@"},
             {"[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}", "UUID"},
             {R"(\*\* Program: \t[^\n]*)", "** Program: \tPROGRAM"}}) {
        trace = std::regex_replace(trace, std::regex(pattern), word);
    }
    return trace;
}

TEST_F(Web_Cache_Fixture, TracesItsStartAndFirstDownload) {
    Publish("landscape.xml", "<landscape/>");
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    Restart_Host();
    Get(Url("/landscape.xml"));
    FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);

    std::ostringstream content;
    content << std::ifstream(Trace_File()).rdbuf();
    std::string trace = content.str();
    Replace_All(trace, Cache_Directory() + "\\", "DIRECTORY/");
    Replace_All(trace, Cache_Directory(), "DIRECTORY");
    const std::string origin = Url("");
    Replace_All(trace, origin.substr(origin.rfind(':')) + "/", ":PORT/");
    EXPECT_EQ(Normalised(trace), Recorded_Trace::First_Download("#", "@", "#"));
}

} // namespace

} // namespace QEL::Tests
