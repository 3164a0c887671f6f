#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <regex>
#include <sstream>

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace ::testing;

constexpr const char* stray_copy = "01234567-89ab-cdef-0123-456789abcdef.xml";

std::vector<std::string> Lines_Of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line.ends_with('\r') ? line.substr(0, line.size() - 1) : line);
    }
    return lines;
}

std::string Without_Colours(const std::string& text) {
    return std::regex_replace(text, std::regex("\x1B\\[[0-9;]*m"), "");
}

/// A cache with two entries, requested in the order that is not the list's.
class List : public Tool_Test {
protected:
    List() {
        m_Server.Publish("/b.xml", "<b/>", "Mon, 01 Jan 2024 12:00:00 GMT");
        m_Server.Publish("/a.xml", std::string(1234, 'a'), "Tue, 02 Jan 2024 12:00:00 GMT");
        const Tool_Result result = Run_On_Cache({"get", m_Url_Of_B, m_Url_Of_A});
        EXPECT_EQ(result.exit_status, 0) << result.err;
        m_Copy_Of_B = Lines_Of(result.out).at(0);
        m_Copy_Of_A = Lines_Of(result.out).at(1);
    }

    Web_Server m_Server;
    const std::string m_Url_Of_A = m_Server.Url("/a.xml");
    const std::string m_Url_Of_B = m_Server.Url("/b.xml");
    fs::path m_Copy_Of_A;
    fs::path m_Copy_Of_B;
};

TEST_F(List, ShowsEachEntrySortedAndAligned) {
    const Tool_Result result = Run_On_Cache({"list"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, IsEmpty());
    const auto lines = Lines_Of(result.out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[0], ContainsRegex("^URL +COPY +SIZE  CHECKED +FRESH UNTIL$"));
    const std::string checked_and_fresh = "[0-9]+ seconds? ago +20[0-9-]+ [0-9:]+$";
    EXPECT_THAT(lines[1], AllOf(StartsWith(m_Url_Of_A + "  " + m_Copy_Of_A.filename().string()),
                                ContainsRegex(" 1\\.2 kB  " + checked_and_fresh)));
    EXPECT_THAT(lines[2], AllOf(StartsWith(m_Url_Of_B + "  " + m_Copy_Of_B.filename().string()),
                                ContainsRegex("    4 B  " + checked_and_fresh)));
    EXPECT_EQ(lines[0].find("COPY"), lines[1].find(m_Copy_Of_A.filename().string()));
    EXPECT_EQ(lines[0].find("SIZE") + 4, lines[1].find(" kB") + 3);
    EXPECT_EQ(lines[0].find("CHECKED"), lines[1].rfind("B  ") + 3);
}

TEST_F(List, SaysThatACopyHasExpired) {
    Set_Expiry_Period(0);
    EXPECT_THAT(Lines_Of(Run_On_Cache({"list"}).out).at(1), ContainsRegex("20[0-9-]+ [0-9:]+ \\(expired\\)$"));
}

TEST_F(List, MarksMissingCopies) {
    fs::remove(m_Copy_Of_A);
    const auto lines = Lines_Of(Run_On_Cache({"list"}).out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[1], AllOf(StartsWith(m_Url_Of_A), ContainsRegex(" - .* copy missing$")));
    EXPECT_THAT(lines[2], Not(HasSubstr("missing")));
}

TEST_F(List, AsJsonHoldsWholePathsAndTimes) {
    fs::remove(m_Copy_Of_B);
    const Tool_Result result = Run_On_Cache({"list", "--json"});
    EXPECT_EQ(result.exit_status, 0);
    const json entries = json::parse(result.out);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0]["url"], m_Url_Of_A);
    EXPECT_EQ(entries[0]["copy"], m_Copy_Of_A.string());
    EXPECT_EQ(entries[0]["copy_exists"], true);
    EXPECT_EQ(entries[0]["size"], 1234);
    EXPECT_EQ(entries[0]["last_modified"], "Tue, 02 Jan 2024 12:00:00 GMT");
    EXPECT_EQ(entries[0]["fresh"], true);
    EXPECT_THAT(entries[0]["last_checked"].get<std::string>(), ContainsRegex("^20[0-9-]+T[0-9:]+Z$"));
    EXPECT_THAT(entries[0]["fresh_until"].get<std::string>(), ContainsRegex("^20[0-9-]+T[0-9:]+Z$"));
    EXPECT_EQ(entries[1]["copy_exists"], false);
    EXPECT_EQ(entries[1]["size"], nullptr);
}

TEST_F(List, ReportsCopiesThatNoEntryNames) {
    Write_File(m_Cache / stray_copy, "");
    const Tool_Result result = Run_On_Cache({"list"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "qelfilecache: note: these copies belong to no entry; the next request deletes them:\n  " +
                              (m_Cache / stray_copy).string() + "\n");
    EXPECT_TRUE(fs::exists(m_Cache / stray_copy));
}

TEST_F(List, SaysThatTheMetadataFileIsDamaged) {
    Write_File(Metadata_File(), "rubbish");
    const Tool_Result result = Run_On_Cache({"list"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, HasSubstr("warning: the metadata file '" + Metadata_File().string() + "' is damaged"));
    EXPECT_THAT(result.err, HasSubstr("\n  Next: "));
    EXPECT_THAT(result.err, HasSubstr(m_Copy_Of_A.string()));
}

TEST_F(List, ChangesNothingAndAsksNobody) {
    Set_Expiry_Period(0);
    Write_File(m_Cache / stray_copy, "");
    fs::remove(m_Copy_Of_B);
    const auto before = Everything_In_Cache();
    const auto requests = m_Server.Requests();
    Run_On_Cache({"list"});
    Run_On_Cache({"list", "--json"});
    EXPECT_EQ(Everything_In_Cache(), before);
    EXPECT_EQ(m_Server.Requests(), requests);
}

TEST_F(List, NeedsNoRightToWrite) {
    fs::permissions(m_Cache, fs::perms::owner_read | fs::perms::owner_exec);
    fs::permissions(Metadata_File(), fs::perms::owner_read);
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "list"});
    run.with_ordinary_rights = true;
    const Tool_Result result = Run_Tool(run);
    fs::permissions(m_Cache, fs::perms::owner_all);
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_EQ(Lines_Of(result.out).size(), 3u);
}

TEST_F(List, RefusesADirectoryOrListThatItCannotRead) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "list"});
    run.with_ordinary_rights = true;
    fs::permissions(Metadata_File(), fs::perms::none);
    Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err, "qelfilecache: the cache's metadata file '" + Metadata_File().string() +
                              "' cannot be read; change its permissions\n");
    fs::permissions(m_Cache, fs::perms::none);
    result = Run_Tool(run);
    fs::permissions(m_Cache, fs::perms::owner_all);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err, "qelfilecache: --cache-dir '" + m_Cache.string() +
                              "' cannot be read: Permission denied; change its permissions\n");
    EXPECT_EQ(Run({"--cache-dir", "/nowhere", "list"}).exit_status, 2);
}

TEST_F(List, OfAnEmptyCacheSaysSo) {
    fs::create_directory(m_Folder / "empty");
    Tool_Result result = Run({"--cache-dir", (m_Folder / "empty").string(), "list"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_EQ(result.err, "qelfilecache: note: the cache in '" + (m_Folder / "empty").string() + "' is empty\n");
    result = Run({"list", "--json"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "[]\n");
    EXPECT_EQ(result.err, "qelfilecache: note: the cache is empty: its default directory is not there yet\n");
    EXPECT_FALSE(fs::exists(m_Folder / "home" / ".cache"));
}

TEST_F(List, KeepsToTheTerminal) {
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "list"});
    run.environment["TERM"] = "xterm";
    run.terminal_columns = 80;
    const auto lines = Lines_Of(Without_Colours(Run_Tool(run).out));
    ASSERT_EQ(lines.size(), 3u);
    for (const std::string& line : lines) {
        EXPECT_LE(line.size(), 80u) << line;
    }
    EXPECT_THAT(lines[1], AllOf(StartsWith(m_Url_Of_A + "  1.2 kB  "), ContainsRegex("[0-9:]+$")));
    run.terminal_columns = 400;
    EXPECT_THAT(Lines_Of(Without_Colours(Run_Tool(run).out)).at(1),
                StartsWith(m_Url_Of_A + "  " + m_Copy_Of_A.filename().string()));
}

TEST_F(List, ShowsColoursOnATerminalAlone) {
    constexpr const char* escape = "\x1B[";
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "list"});
    run.environment["TERM"] = "xterm";
    EXPECT_THAT(Run_Tool(run).out, Not(HasSubstr(escape)));
    run.terminal_columns = 120;
    EXPECT_THAT(Lines_Of(Run_Tool(run).out), Each(StartsWith(escape)));
    run.environment["NO_COLOR"] = "1";
    EXPECT_THAT(Run_Tool(run).out, Not(HasSubstr(escape)));
}

} // namespace
} // namespace QEL::Tests
