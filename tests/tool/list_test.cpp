#include "tests/tool/support/Tool_Fixture.h"

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using namespace ::testing;

std::vector<std::string> Lines_Of(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line.ends_with('\r') ? line.substr(0, line.size() - 1) : line);
    }
    return lines;
}

/// A cache with two entries, requested in the order that is not the list's.
class List : public Tool_Test {
protected:
    List() {
        m_Server.Publish("/b.xml", "<b/>", Monday);
        m_Server.Publish("/a.xml", std::string(1234, 'a'), Tuesday);
        m_Copy_Of_B = Get_Copy(m_Url_Of_B);
        m_Copy_Of_A = Get_Copy(m_Url);
    }

    Words Lines() const { return Lines_Of(Run_On_Cache({"list"}).out); }
    std::string Name_Of_A() const { return m_Copy_Of_A.filename().string(); }

    Words Lines_On_Terminal(int columns) const {
        const std::string out =
            Run_On_Terminal(static_cast<unsigned short>(columns), {"list"}, {{"TERM", "xterm"}}).out;
        return Lines_Of(std::regex_replace(out, std::regex("\x1B\\[[0-9;]*m"), ""));
    }
    Tool_Result List_With_Ordinary_Rights() const { return Run_With_Ordinary_Rights(A_Run_On_Cache({"list"})); }

    const std::string m_Url_Of_B = m_Server.Url("/b.xml");
    fs::path m_Copy_Of_A;
    fs::path m_Copy_Of_B;
};

TEST_F(List, ShowsEachEntrySorted) {
    const Tool_Result result = Run_On_Cache({"list"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    const auto lines = Lines_Of(result.out);
    ASSERT_EQ(lines.size(), 4u);
    const std::string checked_and_fresh = "[0-9]+ seconds? ago +20[0-9-]+ [0-9:]+$";
    EXPECT_THAT(lines[1],
                AllOf(StartsWith(m_Url + "  " + Name_Of_A()), ContainsRegex(" 1\\.2 kB  " + checked_and_fresh)));
    EXPECT_THAT(lines[2], AllOf(StartsWith(m_Url_Of_B + "  " + m_Copy_Of_B.filename().string()),
                                ContainsRegex("    4 B  " + checked_and_fresh)));
    EXPECT_EQ(lines[3], "2 entries, 0 expired, 0 without copy, 1.2 kB");
}

TEST_F(List, AsJsonHoldsWholePathsAndTimes) {
    fs::remove(m_Copy_Of_B);
    auto entries = nlohmann::json::parse(Run_On_Cache({"list", "--json"}).out);
    ASSERT_EQ(entries.size(), 2u);
    for (const char* const time : {"last_checked", "fresh_until"}) {
        EXPECT_THAT(entries[0][time].get<std::string>(), ContainsRegex("^20[0-9-]+T[0-9:]+Z$"));
        entries[0].erase(time);
    }
    EXPECT_EQ(entries[0], (nlohmann::json{{"url", m_Url},
                                          {"copy", m_Copy_Of_A.string()},
                                          {"copy_exists", true},
                                          {"size", 1234},
                                          {"last_modified", Tuesday},
                                          {"fresh", true},
                                          {"schema", 1}}));
    EXPECT_EQ(entries[1]["copy_exists"], false);
    EXPECT_EQ(entries[1]["size"], nullptr);
}

TEST_F(List, ShowsWhatIsWantedInTheOrderThatIsWanted) {
    const std::string a = "a.xml";
    const std::string b = "b.xml";
    fs::remove(m_Copy_Of_B);
    const auto shown = [this](Words arguments) {
        arguments.insert(arguments.begin(), {"list", "--json"});
        std::string names;
        for (const auto& entry : nlohmann::json::parse(Run_On_Cache(arguments).out)) {
            names += entry["url"].get<std::string>().substr(m_Server.Url("/").size());
        }
        return names;
    };
    EXPECT_EQ(shown({"--missing"}), b);
    EXPECT_EQ(shown({"--expired"}), "");
    EXPECT_EQ(shown({"/*.xml"}), a + b);
    EXPECT_EQ(shown({"http*/b"}), b);
    EXPECT_EQ(shown({"b*http"}), "");
    EXPECT_EQ(shown({"--sort", "size"}), a + b);
    EXPECT_EQ(shown({"--sort", "age"}), b + a) << "b was requested first";
    EXPECT_EQ(shown({"--sort", "url"}), a + b);
    Set_Expiry_Period(0);
    EXPECT_EQ(shown({"--expired"}), a);
    EXPECT_EQ(shown({"--expired", "--missing"}), a + b);
    const auto lines = Lines();
    EXPECT_THAT(lines.at(1), ContainsRegex("  expired since 20[0-9-]+ [0-9:]+$"));
    EXPECT_EQ(lines.at(3), "2 entries, 1 expired, 1 without copy, 1.2 kB");
    EXPECT_THAT(Run_On_Cache({"list", "c.xml"}).err,
                AllOf(HasSubstr("note: none of the 2 entries of the cache in '"),
                      EndsWith("' matches; --cache-dir names another directory\n")));
    EXPECT_THAT(Run_On_Cache({"list", "--sort", "name"}).err, HasSubstr("--sort: needs age|size|url, not 'name'"));
}

TEST_F(List, ReportsCopiesThatNoEntryNamesAndChangesNothing) {
    Set_Expiry_Period(0);
    Write_File(m_Cache / Stray_Copy, "");
    fs::remove(m_Copy_Of_B);
    const auto before = Everything_In_Cache();
    const auto requests = m_Server.Requests();
    EXPECT_EQ(Run_On_Cache({"list"}).err,
              "qelfilecache: note: these copies belong to no entry; the next request deletes them:\n  " +
                  (m_Cache / Stray_Copy).string() + "\n");
    EXPECT_EQ(Everything_In_Cache(), before);
    EXPECT_EQ(m_Server.Requests(), requests);
}

TEST_F(List, SaysThatTheMetadataFileIsDamaged) {
    Write_File(Metadata_File(), "rubbish");
    const Tool_Result result = Run_On_Cache({"list"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(HasSubstr("warning: the metadata file '" + Metadata_File().string() + "' is damaged"),
                                  HasSubstr("\n  Next: the next 'qelfilecache get' saves it and all copies"),
                                  HasSubstr("belong to no known entry; 'qelfilecache get' saves them, any other "
                                            "program's request deletes them:\n"),
                                  HasSubstr(m_Copy_Of_A.string())));
    EXPECT_THAT(Run_On_Cache({"explain", m_Url}).out,
                AllOf(HasSubstr("The metadata file of the cache in '"),
                      HasSubstr("' is damaged, and before the damage there is no entry for it. Every")));
    fs::rename(Metadata_File(), m_Folder / "list");
    fs::create_symlink(m_Folder / "list", Metadata_File());
    EXPECT_THAT(Run_On_Cache({"list"}).err,
                HasSubstr("Next: move it away; 'qelfilecache get' uses no list that is a link.\n"));
}

TEST_F(List, NeedsNoRightToWriteButToRead) {
    const std::string run_as =
        "; it belongs to user '54321': run the command as that user, or name another directory with --cache-dir\n";
    {
        const Rights_Left of_directory(m_Cache, Read_And_Enter);
        const Rights_Left of_list(Metadata_File(), fs::perms::owner_read);
        EXPECT_EQ(Lines_Of(List_With_Ordinary_Rights().out).size(), 4u);
    }
    {
        const Rights_Left none(Metadata_File(), fs::perms::none);
        Expect_Message(List_With_Ordinary_Rights(), 2,
                       "the cache's metadata file '" + Metadata_File().string() +
                           "' cannot be read; change its permissions");
        if (::chown(Metadata_File().c_str(), 54321, static_cast<gid_t>(-1)) == 0) { // only root can
            EXPECT_THAT(List_With_Ordinary_Rights().err, HasSubstr("' cannot be read" + run_as));
            ASSERT_EQ(::chown(Metadata_File().c_str(), ::geteuid(), static_cast<gid_t>(-1)), 0);
        }
    }
    {
        const Rights_Left none(m_Cache, fs::perms::none);
        Expect_Message(List_With_Ordinary_Rights(), 2,
                       "--cache-dir '" + m_Cache.string() +
                           "' cannot be read: Permission denied; change its permissions");
        if (::chown(m_Cache.c_str(), 54321, static_cast<gid_t>(-1)) == 0) {
            EXPECT_THAT(List_With_Ordinary_Rights().err, HasSubstr("' cannot be read: Permission denied" + run_as));
            EXPECT_THAT(Run_With_Ordinary_Rights(A_Run_On_Cache({"get", m_Url})).err,
                        HasSubstr("' is not writable" + run_as));
            EXPECT_THAT(Run_With_Ordinary_Rights(A_Run({"--cache-dir", (m_Cache / "x").string(), "list"})).err,
                        HasSubstr("' cannot be examined: Permission denied" + run_as));
        }
    }
}

TEST_F(List, OfAMissingCacheIsEmpty) {
    const Tool_Result result = Run({"list", "--json"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "[]\n");
    EXPECT_FALSE(fs::exists(m_Home / ".cache"));
}

TEST_F(List, KeepsToTheTerminalAndShowsColoursThereAlone) {
    constexpr const char* escape = "\x1B[";
    EXPECT_THAT(Run_On_Cache({"list"}).out, Not(HasSubstr(escape)));
    auto coloured = Lines_Of(Run_On_Terminal(120, {"list"}, {{"TERM", "xterm"}}).out);
    coloured.pop_back(); // the totals
    EXPECT_THAT(coloured, Each(StartsWith(escape)));

    for (const int columns : {80, 0}) { // 0: it does not know its width
        const auto lines = Lines_On_Terminal(columns);
        ASSERT_EQ(lines.size(), 4u);
        EXPECT_THAT(lines, Each(SizeIs(Le(80u))));
        EXPECT_THAT(lines[1], AllOf(StartsWith(m_Url + "  1.2 kB  "), ContainsRegex("[0-9:]+$")));
    }
    EXPECT_THAT(Lines_On_Terminal(400).at(1), StartsWith(m_Url + "  " + Name_Of_A()));
}

} // namespace
