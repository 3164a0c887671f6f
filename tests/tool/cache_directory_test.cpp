#include "tests/tool/support/Tool_Fixture.h"

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using namespace ::testing;

class Cache_Directory : public Tool_Test {
protected:
    void Expect_Refused(const std::string& directory, const std::string& message) const {
        for (const Words& command : {Words{"get", m_Url}, {"clear"}, {"purge"}}) {
            Words words = {"--cache-dir", directory};
            words.insert(words.end(), command.begin(), command.end());
            SCOPED_TRACE(command.front());
            Expect_Message(Run_With_Ordinary_Rights(A_Run(words)), 2, message);
        }
        EXPECT_THAT(m_Server.Requests(), IsEmpty());
    }
};

TEST_F(Cache_Directory, MustBeAWritableDirectory) {
    const std::string missing = (m_Folder / "missing").string();
    Expect_Refused(missing, "--cache-dir '" + missing + "' does not exist; create it or name another one");
    EXPECT_FALSE(fs::exists(missing));
    const std::string file = m_Scratch.Write("file");
    Expect_Refused(file, "--cache-dir '" + file + "' is not a directory; name a directory");
    Expect_Refused("", "--cache-dir '' names no directory");
    Expect_Refused("a\nb", "--cache-dir 'a\\x0Ab' names no directory");
    const Rights_Left no_right_to_write(m_Cache, Read_And_Enter);
    Expect_Refused(m_Cache.string(), "--cache-dir '" + m_Cache.string() +
                                         "' is not writable; change its permissions or name another one");
    EXPECT_THAT(Names_In(m_Cache), IsEmpty());
}

TEST_F(Cache_Directory, IsTheSameHoweverItIsSpelled) {
    const std::string copy = Get_Copy(m_Url);
    for (const std::string& spelling : {m_Cache.string() + "/", m_Cache.string() + "//.", std::string("./cache"),
                                        std::string("cache"), (m_Home / ".." / "cache").string()}) {
        EXPECT_EQ(Run({"--cache-dir", spelling, "get", m_Url}).out, copy + "\n") << spelling;
    }
    EXPECT_EQ(fs::path(copy).parent_path(), m_Cache);
    EXPECT_EQ(m_Server.Requests().size(), 1u);
}

TEST_F(Cache_Directory, IsNotEmptiedByAnotherNameThanItsListKnows) {
    const std::string copy = Get_Copy(m_Url);
    const std::string link = (m_Folder / "link").string();
    const std::string moved = (m_Folder / "moved").string();
    fs::create_directory_symlink(m_Cache, link);
    m_Server.Stop();
    for (const auto& [name, remedy] :
         {std::pair{link, "use --cache-dir '" + m_Cache.string() + "'"},
          std::pair{moved, "'" + m_Cache.string() + "' does not exist: the cache was moved. Move it back"}}) {
        if (name == moved) {
            fs::rename(m_Cache, moved);
        }
        const std::string message = "the list in --cache-dir '" + name + "' names its copies in '" + m_Cache.string() +
                                    "', so the first request with this spelling deletes them\n  Next: " + remedy;
        for (const Words& command : {Words{"get", m_Url}, {"prefetch", m_Scratch.Write("requests", m_Url + "\n")}}) {
            Words words = {"--cache-dir", name};
            words.insert(words.end(), command.begin(), command.end());
            const Tool_Result result = Run(words);
            EXPECT_EQ(result.exit_status, 2);
            EXPECT_THAT(result.err, StartsWith("qelfilecache: " + message)) << command.front();
        }
        EXPECT_THAT(Run({"--cache-dir", name, "list"}).err, HasSubstr("deletes them\n  Next: " + remedy));
        const auto report = nlohmann::json::parse(Run({"--cache-dir", name, "explain", "--json", m_Url}).out)[0];
        EXPECT_EQ(report["expected"], "failed");
        EXPECT_THAT(report["verdict"].get<std::string>(),
                    AllOf(HasSubstr("names its copies in '" + m_Cache.string()),
                          HasSubstr(". The front end's request would be served from a new copy, if the server")));
        EXPECT_TRUE(fs::exists(fs::path(name) / fs::path(copy).filename()));
    }
    EXPECT_EQ(Run({"--cache-dir", moved, "get", "--force", m_Url}).exit_status, 1);
    EXPECT_FALSE(fs::exists(fs::path(moved) / fs::path(copy).filename()));
}

TEST_F(Cache_Directory, KeepsTheSlashesOfItsList) {
    const std::string name = fs::path(Get_Copy(m_Url)).filename().string();
    for (const std::string& spelling : {m_Cache.string() + "/", m_Folder.string() + "//cache"}) {
        const std::string list = Content_Of(Metadata_File());
        const auto line_begin = list.find(m_Folder.string());
        Write_File(Metadata_File(),
                   list.substr(0, line_begin) + spelling + "/" + name + list.substr(list.find('\n', line_begin)));
        EXPECT_EQ(Run_On_Cache({"list"}).err, "");
        EXPECT_EQ(Run_On_Cache({"get", m_Url}).out, spelling + "/" + name + "\n");
    }
    EXPECT_EQ(m_Server.Requests().size(), 1u);
}

TEST_F(Cache_Directory, IsCreatedForTheUserAloneWhenItIsTheDefaultOne) {
    const mode_t previous = ::umask(0);
    const Tool_Result result = Run({"get", m_Url});
    ::umask(previous);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(fs::path(result.out).parent_path(), m_Default_Cache);
    for (fs::path directory = m_Default_Cache; directory != m_Home; directory = directory.parent_path()) {
        EXPECT_EQ(fs::status(directory).permissions(), fs::perms::owner_all) << directory;
    }
}

TEST_F(Cache_Directory, HasANewListForTheUserAloneAndCopiesByTheUmask) {
    const auto rights_of = [](const fs::path& path) { return fs::status(path).permissions(); };
    const mode_t previous = ::umask(027);
    const std::string copy = Get_Copy(m_Url);
    ::umask(previous);
    EXPECT_EQ(rights_of(Metadata_File()), fs::perms(0600));
    EXPECT_EQ(rights_of(copy), fs::perms(0640));

    fs::permissions(Metadata_File(), fs::perms(0644));
    const std::string list = Content_Of(Metadata_File());
    m_Server.Publish("/another.xml", "", Monday);
    Get_Copy(m_Server.Url("/another.xml"));
    EXPECT_NE(Content_Of(Metadata_File()), list);
    EXPECT_EQ(rights_of(Metadata_File()), fs::perms(0644)) << "an existing list keeps its rights";
}

TEST_F(Cache_Directory, LiesBelowAnAbsoluteXdgCacheHomeOrAHomeThatCanBeWritten) {
    Tool_Run run = A_Run({"get", m_Url});
    run.with_ordinary_rights = true;
    run.environment["XDG_CACHE_HOME"] = (m_Folder / "caches").string();
    EXPECT_EQ(fs::path(Run_Tool(run).out).parent_path(), m_Folder / "caches" / "qel" / "landscape");
    run.environment["XDG_CACHE_HOME"] = "caches";
    EXPECT_EQ(fs::path(Run_Tool(run).out).parent_path(), m_Default_Cache);
    fs::remove_all(m_Default_Cache.parent_path().parent_path());
    {
        const Rights_Left no_right_to_write(m_Home, Read_And_Enter);
        Expect_Message(Run_Tool(run), 2,
                       "the default cache directory '" + m_Default_Cache.string() +
                           "' cannot be created: Permission denied; give --cache-dir");
    }
    run.environment.erase("HOME");
    Expect_Message(Run_Tool(run), 2,
                   "there is no default cache directory: neither XDG_CACHE_HOME nor HOME holds an absolute path; set "
                   "one or give --cache-dir");
}

TEST_F(Cache_Directory, IsLeftAloneWhenItsMetadataFileCannotBeRead) {
    const std::string copy = Get_Copy(m_Url);
    const auto names = Names_In(m_Cache);
    {
        const Rights_Left none(Metadata_File(), fs::perms::none);
        const Tool_Result result = Run_With_Ordinary_Rights(A_Run_On_Cache({"get", m_Url}));
        EXPECT_EQ(result.exit_status, 2);
        EXPECT_THAT(result.err,
                    HasSubstr("metadata file '" + Metadata_File().string() + "' cannot be read and written; "));
        EXPECT_EQ(Names_In(m_Cache), names);
    }
    EXPECT_EQ(Get_Copy(m_Url), copy);
}

class Damaged_Metadata : public Tool_Test {
protected:
    void Damage(const std::string& content) const { Write_File(Metadata_File(), content); }
    void Expect_Saved(const std::string& metadata) const {
        EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), metadata);
        EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_A.filename()), "<a/>");
        EXPECT_EQ(Content_Of(m_Saved / m_Copy_Of_B.filename()), "<b/>");
    }

    const fs::path m_Copy_Of_A = Get_Copy(m_Url);
    const fs::path m_Copy_Of_B = (m_Server.Publish("/b.xml", "<b/>", Monday), Get_Copy(m_Server.Url("/b.xml")));
    const fs::path m_Saved = m_Cache / "qelfilecache_damaged-1";
};

TEST_F(Damaged_Metadata, OfBinaryRubbishLosesNothingAndIsSavedOnce) {
    const std::string rubbish = Rubbish(100000);
    EXPECT_EQ(Run_On_Cache({"get", m_Url}).err, "");
    EXPECT_FALSE(fs::exists(m_Saved)) << "healthy";
    Damage(rubbish);
    m_Server.Stop();
    for (int run = 0; run < 3; ++run) {
        const Tool_Result result = Run_On_Cache({"get", m_Url});
        EXPECT_EQ(result.exit_status, 1);
        EXPECT_THAT(result.err, HasSubstr("qelfilecache: warning: the metadata file '" + Metadata_File().string() +
                                          "' is damaged; the entries after the damage are lost.\n"
                                          "  The file and all copies are saved in '" +
                                          m_Saved.string() + "'; delete that folder when you no longer need them.\n"));
        Expect_Saved(rubbish);
    }
    EXPECT_FALSE(fs::exists(m_Cache / "qelfilecache_damaged-2"));
    Damage("other rubbish");
    EXPECT_THAT(Run_On_Cache({"get", m_Url}).err, HasSubstr("damaged-2'"));
    Expect_Saved(rubbish);
}

TEST_F(Damaged_Metadata, WithACountOfFourThousandMillionKeepsTheEntriesThatAreThere) {
    std::string damaged = Content_Of(Metadata_File());
    const std::string keyword = "entries\n";
    damaged.replace(damaged.find(keyword) + keyword.size(), 1, "4294967295");
    Damage(damaged);
    m_Server.Stop();
    const Tool_Result result = Run_On_Cache({"get", m_Url, m_Server.Url("/b.xml")});
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_EQ(result.out, m_Copy_Of_A.string() + "\n" + m_Copy_Of_B.string() + "\n");
    EXPECT_THAT(result.err, HasSubstr("is damaged"));
    Expect_Saved(damaged);
    EXPECT_EQ(fs::hard_link_count(m_Copy_Of_A), 2u) << "the saved copy takes no space of its own";
}

TEST_F(Damaged_Metadata, OfAnotherFormatSaysSo) {
    std::string list = Content_Of(Metadata_File());
    list.replace(list.find("\n2\n"), 3, "\n3\n");
    Damage(list);
    const std::string fault =
        "the metadata file '" + Metadata_File().string() + "' was written by another version of the program (format 3)";
    EXPECT_THAT(Run_On_Cache({"explain", m_Url}).out,
                HasSubstr("' was written by another version of the program (format 3), so it is unknown whether"));
    EXPECT_THAT(Run_On_Cache({"list"}).err, HasSubstr(fault + ": none of its entries is known.\n  Next: the next"));
    EXPECT_THAT(Run_On_Cache({"clear"}).err, HasSubstr("(format 3), so none of its entries is cleared.\n"));
    EXPECT_THAT(Run_On_Cache({"get", m_Url}).err, HasSubstr(fault + "; its entries are lost.\n  The file and all"));
    Expect_Saved(list);
}

TEST_F(Damaged_Metadata, ThatCannotBePutAsideStopsTheRequestBeforeAnythingIsLost) {
    Damage("rubbish");
    // A file where the folder would go, and no more of its kind.
    Write_File(m_Saved, "");
    fs::create_directory_symlink("qelfilecache_damaged-2", m_Cache / "qelfilecache_damaged-2");
    const Tool_Result result = Run_On_Cache({"get", m_Url});
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, HasSubstr("' is damaged and cannot be saved: "));
    EXPECT_TRUE(fs::exists(m_Copy_Of_A) && fs::exists(m_Copy_Of_B));
    EXPECT_EQ(Content_Of(Metadata_File()), "rubbish");
}

TEST_F(Damaged_Metadata, MakesClearSayThatItDoesNotKnowAll) {
    Damage("rubbish");
    const Tool_Result result = Run_On_Cache({"clear"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_THAT(result.err, HasSubstr("only the entries before the damage are cleared.\n"
                                      "  'qelfilecache purge' deletes every copy.\n"));
    EXPECT_TRUE(fs::exists(m_Copy_Of_A));
    Get_Copy(m_Url);
    EXPECT_EQ(Run_On_Cache({"get", m_Url}).err, "") << "healthy with the next download";
    EXPECT_EQ(Content_Of(m_Saved / Metadata_File().filename()), "rubbish");
}

} // namespace
