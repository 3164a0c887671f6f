#include "tests/support/Web_Server.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <sys/stat.h>

namespace QEL::Tests {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

fs::perms Permissions(const fs::path& path) {
    return fs::status(path).permissions();
}

class Cache_Directory : public Tool_Test {
protected:
    Cache_Directory() { m_Server.Publish("/a.xml", "<a/>", "Mon, 01 Jan 2024 12:00:00 GMT"); }

    void Expect_Refused(const std::string& directory, const std::string& message) const {
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"get", m_Server.Url("/a.xml")}, {"clear"}, {"purge"}}) {
            Tool_Run run = A_Run({"--cache-dir", directory});
            run.arguments.insert(run.arguments.end(), command.begin(), command.end());
            run.with_ordinary_rights = true;
            const Tool_Result result = Run_Tool(run);
            EXPECT_EQ(result.exit_status, 2) << command.front();
            EXPECT_THAT(result.out, IsEmpty());
            EXPECT_EQ(result.err, "qelfilecache: " + message + "\n");
        }
        EXPECT_THAT(m_Server.Requests(), IsEmpty());
    }

    Web_Server m_Server;
};

TEST_F(Cache_Directory, MustExistWhenGiven) {
    const std::string missing = (m_Folder / "missing").string();
    Expect_Refused(missing, "--cache-dir '" + missing + "' does not exist; create it or name another one");
    EXPECT_FALSE(fs::exists(missing));
}

TEST_F(Cache_Directory, MustBeADirectory) {
    const std::string file = (m_Folder / "file").string();
    Write_File(file, "");
    Expect_Refused(file, "--cache-dir '" + file + "' is not a directory; name a directory");
}

TEST_F(Cache_Directory, MustBeWritable) {
    fs::permissions(m_Cache, fs::perms::owner_read | fs::perms::owner_exec);
    Expect_Refused(m_Cache.string(), "--cache-dir '" + m_Cache.string() +
                                         "' is not writable; change its permissions or name another one");
    EXPECT_THAT(Names_In(m_Cache), IsEmpty());
}

TEST_F(Cache_Directory, MustBeNamed) {
    Expect_Refused("", "--cache-dir '' names no directory");
    Expect_Refused("a\nb", "--cache-dir 'a\\x0Ab' names no directory");
}

TEST_F(Cache_Directory, MayBeRelativeToTheWorkingDirectory) {
    const Tool_Result result = Run({"--cache-dir", "cache", "get", m_Server.Url("/a.xml")});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(fs::path(result.out).parent_path(), m_Cache);
}

TEST_F(Cache_Directory, IsTheSameHoweverItIsSpelled) {
    const std::string url = m_Server.Url("/a.xml");
    const Tool_Result first = Run({"--cache-dir", m_Cache.string(), "get", url});
    for (const std::string& spelling : {m_Cache.string() + "/", m_Cache.string() + "//.", std::string("./cache"),
                                        (m_Folder / "home" / ".." / "cache").string()}) {
        const Tool_Result again = Run({"--cache-dir", spelling, "get", url});
        EXPECT_EQ(again.out, first.out) << spelling;
    }
    EXPECT_EQ(m_Server.Requests().size(), 1u);
}

TEST_F(Cache_Directory, IsCreatedForTheUserAloneWhenItIsTheDefaultOne) {
    const mode_t previous = ::umask(0);
    const Tool_Result result = Run({"get", m_Server.Url("/a.xml")});
    ::umask(previous);
    EXPECT_EQ(result.exit_status, 0) << result.err;
    const fs::path expected = m_Folder / "home" / ".cache" / "qel" / "landscape";
    EXPECT_EQ(fs::path(result.out).parent_path(), expected);
    for (const auto& directory : {expected, expected.parent_path(), expected.parent_path().parent_path()}) {
        EXPECT_EQ(Permissions(directory), fs::perms::owner_all) << directory;
    }
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Cache_Directory, LiesBelowXdgCacheHome) {
    Tool_Run run = A_Run({"get", m_Server.Url("/a.xml")});
    run.without_environment.clear();
    run.environment["XDG_CACHE_HOME"] = (m_Folder / "caches").string();
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(fs::path(result.out).parent_path(), m_Folder / "caches" / "qel" / "landscape");
}

TEST_F(Cache_Directory, IgnoresARelativeXdgCacheHome) {
    Tool_Run run = A_Run({"get", m_Server.Url("/a.xml")});
    run.without_environment.clear();
    run.environment["XDG_CACHE_HOME"] = "caches";
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(fs::path(result.out).parent_path(), m_Folder / "home" / ".cache" / "qel" / "landscape");
}

TEST_F(Cache_Directory, NeedsAHomeWhenNoneIsGiven) {
    Tool_Run run = A_Run({"get", m_Server.Url("/a.xml")});
    run.environment.erase("HOME");
    run.without_environment.push_back("HOME");
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err, "qelfilecache: there is no default cache directory: neither XDG_CACHE_HOME nor HOME holds an "
                          "absolute path; set one or give --cache-dir\n");
}

TEST_F(Cache_Directory, SaysWhenTheDefaultOneCannotBeCreated) {
    fs::permissions(m_Folder / "home", fs::perms::owner_read | fs::perms::owner_exec);
    Tool_Run run = A_Run({"get", m_Server.Url("/a.xml")});
    run.with_ordinary_rights = true;
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.err, "qelfilecache: the default cache directory '" +
                              (m_Folder / "home" / ".cache" / "qel" / "landscape").string() +
                              "' cannot be created: Permission denied; give --cache-dir\n");
    fs::permissions(m_Folder / "home", fs::perms::owner_all);
}

TEST_F(Cache_Directory, IsLeftAloneWhenItsMetadataFileCannotBeRead) {
    const Tool_Result first = Run_On_Cache({"get", m_Server.Url("/a.xml")});
    const auto names = Names_In(m_Cache);
    fs::permissions(Metadata_File(), fs::perms::none);
    Tool_Run run = A_Run({"--cache-dir", m_Cache.string(), "get", m_Server.Url("/a.xml")});
    run.with_ordinary_rights = true;
    const Tool_Result result = Run_Tool(run);
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_THAT(result.err, HasSubstr("metadata file '" + Metadata_File().string() + "' cannot be read and written; "));
    EXPECT_EQ(Names_In(m_Cache), names);

    fs::permissions(Metadata_File(), fs::perms::owner_all);
    EXPECT_EQ(Run_On_Cache({"get", m_Server.Url("/a.xml")}).out, first.out);
}

} // namespace
} // namespace QEL::Tests
