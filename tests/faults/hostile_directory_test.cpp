// The cache directory changes under a running host. What only POSIX puts into it: links, pipes, devices; and rights, in
// a process that has none.

#include "tests/faults/support/Cache_Home.h"
#include "trace/Set_Trace_Level.h"

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;

class Hostile_Directory : public Cache_Home {
protected:
    Hostile_Directory() {
        Offer({"a.xml"}, {"b.xml"});
        EXPECT_TRUE(host.Set_Cache_Directory(Cache_Directory()));
        Expect_Current_Documents(host);
    }

    /// A download is written as well as it can be, and nobody notices that it could not: the path
    /// that it returns names nothing. A share file is not copied.
    void Expect_No_Copies() {
        const Files surroundings = Surroundings();
        for (int repetition = 0; repetition < 2; ++repetition) {
            const Served from_web = Request(host, url);
            EXPECT_NE(from_web.path, "");
            EXPECT_FALSE(from_web.download_error);
            EXPECT_FALSE(fs::is_regular_file(from_web.path));
            EXPECT_EQ(Request(host, share).path, "");
        }
        EXPECT_EQ(Surroundings(), surroundings);
    }

    CFileCache host{Services()};
    const std::string url = Web_Url("a.xml");
    const std::string share = Failing_OS_Wrapper::Share + std::string("b.xml");
};

TEST_F(Hostile_Directory, ThatIsRemovedOrReplacedByAFileIsUsedAgainWhenItIsBack) {
    fs::remove_all(cache_folder);
    Expect_No_Copies();
    EXPECT_TRUE(host.Purge_Cache_Folder());
    EXPECT_FALSE(fs::exists(cache_folder)) << "the cache creates none";
    CFileCache other(QEL::FrontEnd::OSWRAPI::IOSWrapper::Create());
    EXPECT_FALSE(other.Set_Cache_Directory(Cache_Directory()));
    fs::create_directory(cache_folder);
    Expect_Current_Documents(host);

    fs::remove_all(cache_folder);
    EXPECT_TRUE(host.Clear());
    EXPECT_TRUE(host.m_Cache_Entries.empty());
    std::ofstream(cache_folder) << "a file";
    Expect_No_Copies();
    EXPECT_TRUE(host.Purge_Cache_Folder());
    EXPECT_TRUE(host.Clear());
    EXPECT_EQ(Content_Of(cache_folder), "a file");
    fs::remove(cache_folder);
    fs::create_directory(cache_folder);
    Expect_Current_Documents(host);
}

TEST_F(Hostile_Directory, WithAFolderAsListServesAndRecordsNothing) {
    fs::remove(Metadata_Path());
    fs::create_directory(Metadata_Path());
    Publish(url);
    Expect_Current_Document(host, url);
    EXPECT_TRUE(fs::is_directory(Metadata_Path()));

    EXPECT_TRUE(Loaded().empty());
}

TEST_F(Hostile_Directory, WhoseCopiesAreFoldersGetsNewOnes) {
    const std::vector<std::string> folders = Copies();
    for (const std::string& copy : folders) {
        fs::remove(copy);
        fs::create_directory(copy);
        std::ofstream(fs::path(copy) / "file") << "kept";
    }
    Expect_Current_Documents(host);
    EXPECT_TRUE(host.Purge_Cache_Folder());
    EXPECT_EQ(Copies(), folders) << "a folder is not a copy, whatever its name";
}

#ifndef _WIN32

class Hostile_Links : public Cache_Home {
protected:
    Hostile_Links() {
        Offer({"a.xml"}, {"b.xml"});
        fs::create_directory(other_folder);
    }
    ~Hostile_Links() override {
        for (const fs::path& path : {cache_folder, other_folder}) {
            std::error_code ignored;
            fs::permissions(path, fs::perms(0755), ignored);
        }
    }

    /// Puts a copy, which may be a link, and a list that names it into the cache directory.
    void Write_Copy_And_List(const fs::path& target = {}) const {
        if (target.empty()) {
            std::ofstream(copy) << "copy";
        } else {
            fs::create_symlink(target, copy);
        }
        std::ofstream(Metadata_Path()) << List_Of({{url, copy}});
    }

    /// Sets the directory and downloads, in twenty seconds: a host that waits for ever ends the test.
    void Expect_Use_Without_List() {
        ::alarm(20);
        Restart_Host();
        EXPECT_TRUE(cache->m_Cache_Entries.empty());
        Expect_Current_Document(*cache, url);
        ::alarm(0);
    }

    const fs::path other_folder = home / "other";
    const std::string url = Web_Url("a.xml");
    const std::string copy = (cache_folder / "11111111-1111-1111-1111-111111111111.xml").string();
};

TEST_F(Hostile_Links, ListThatIsALinkIsReadAndWrittenThroughIt) {
    Write_Copy_And_List();
    fs::rename(Metadata_Path(), other_folder / "list");
    fs::create_symlink(other_folder / "list", Metadata_Path());
    EXPECT_EQ(Loaded().size(), 1U);
    Restart_Host();
    Expect_Current_Document(*cache, url);
    EXPECT_TRUE(fs::is_symlink(Metadata_Path()));
    Expect_Equal(cache->m_Cache_Entries, Loaded());
}

TEST_F(Hostile_Links, ListThatIsNotAFileIsAnEmptyCacheAndNotWaitedFor) {
    for (const auto& target : {other_folder / "nothing", fs::path(Metadata_Path()), fs::path("/dev/zero"),
                               fs::path("/dev/full"), fs::path("/dev/null")}) {
        SCOPED_TRACE(target);
        fs::create_symlink(target, Metadata_Path());
        Expect_Use_Without_List();
        EXPECT_EQ(Loaded().size(), target == other_folder / "nothing" ? 1U : 0U) << "a file that it names is created";
        fs::remove(Metadata_Path());
    }
    ASSERT_EQ(::mkfifo(Metadata_Path().c_str(), 0600), 0);
    Expect_Use_Without_List();
    EXPECT_TRUE(fs::is_fifo(Metadata_Path()));
}

TEST_F(Hostile_Links, ListDoesNotGetTheTraceOfAHostThatHasClosedItsStandardError) {
    const Environment_Variable no_trace_file("QEL_TRACE_DIR", "/dev/null");
    EXPECT_EQ(Child_Process([&] {
                  ::close(STDERR_FILENO);
                  QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
                  return Next_Host()->Get_Cached_File(requests.back()).empty() ? 1 : 0;
              }).Wait(),
              0);
    EXPECT_EQ(Loaded().size(), 1U);
    EXPECT_THAT(Content_Of(Metadata_Path()), testing::Not(testing::HasSubstr("TID")));
}

TEST_F(Hostile_Links, CopyThatIsALinkIsServedOrSweptAndItsTargetOutlivesIt) {
    Set_Expiry_Minutes(0xFFFFFFFF);
    std::ofstream(other_folder / "target") << "target";
    Write_Copy_And_List(other_folder / "target");
    const fs::path stray = cache_folder / "33333333-3333-3333-3333-333333333333.xml";
    fs::create_symlink(other_folder / "target", stray);
    fs::create_symlink(other_folder, cache_folder / "22222222-2222-2222-2222-222222222222.xml");
    Restart_Host();
    EXPECT_EQ(cache->Get_Cached_File(url), copy);
    EXPECT_FALSE(fs::is_symlink(stray)) << "swept";
    Set_Expiry_Minutes(0);
    Expect_Current_Document(*cache, url);
    EXPECT_FALSE(fs::is_symlink(copy)) << "replaced";
    EXPECT_EQ(Content_Of(other_folder / "target"), "target");
}

/// The directory is a path, not a place: what it names now is used.
TEST_F(Hostile_Links, DirectoryReplacedByALinkIsUsedWhereItLeads) {
    Restart_Host();
    Expect_Current_Document(*cache, url);
    std::ofstream(other_folder / "33333333-3333-3333-3333-333333333333.xml") << "another cache's";
    std::ofstream(other_folder / "notes.xml") << "notes";
    fs::rename(cache_folder, home / "before");
    fs::create_directory_symlink(other_folder, cache_folder);

    Expect_Current_Document(*cache, url);
    EXPECT_TRUE(fs::exists(other_folder / "33333333-3333-3333-3333-333333333333.xml")) << "the sweep runs once";
    EXPECT_EQ(fs::path(cache->Get_Cached_File(url)).parent_path(), cache_folder);
    EXPECT_TRUE(cache->Clear());
    EXPECT_EQ(Content_Of(other_folder / "notes.xml"), "notes");

    // A host that begins there sweeps there, as anywhere.
    Restart_Host();
    Expect_Current_Document(*cache, url);
    EXPECT_FALSE(fs::exists(other_folder / "33333333-3333-3333-3333-333333333333.xml"));
    EXPECT_EQ(Content_Of(other_folder / "notes.xml"), "notes");
}

/// Runs its actions as somebody without rights, who may write to the cache directory at first.
class Without_Rights : public Hostile_Links {
protected:
    void Run(const std::function<void()>& action) {
        fs::permissions(cache_folder, fs::perms(0777));
        EXPECT_EQ(Run_Without_Rights([&] {
                      action();
                      return HasFailure() ? 1 : 0;
                  }),
                  0);
    }

    /// A host on a folder of its own.
    void Use_Own_Folder() {
        cache = std::make_unique<CFileCache>(Services());
        EXPECT_TRUE(cache->Set_Cache_Directory(own_folder.string())) << "it exists";
    }
    /// The owner, who is the one without rights, changes them.
    void Set_Rights(const fs::path& path, unsigned rights) { ASSERT_EQ(::chmod(path.c_str(), rights), 0) << path; }

    const fs::path own_folder = cache_folder / "own"; ///< made by the one without rights
    const std::string share = requests.back();
};

TEST_F(Without_Rights, AListThatMayNotBeReadOrWrittenStaysAsItIs) {
    Run([&] {
        for (const unsigned rights : {0U, 0444U}) {
            Write_Copy_And_List();
            Set_Rights(Metadata_Path(), rights);
            Restart_Host();
            EXPECT_EQ(cache->m_Cache_Entries.size(), rights == 0 ? 0U : 1U);
            Expect_Current_Document(*cache, url);
            EXPECT_EQ(fs::exists(copy), rights == 0) << "the list may name it, otherwise it has been replaced";
            EXPECT_TRUE(Loaded().empty());
            Set_Rights(Metadata_Path(), 0600);
            EXPECT_EQ(Content_Of(Metadata_Path()), List_Of({{url, copy}}));
        }
    });
}

TEST_F(Without_Rights, ACopyThatMayNotBeReadIsServedAllTheSame) {
    Set_Expiry_Minutes(0xFFFFFFFF);
    Run([&] {
        Write_Copy_And_List();
        Set_Rights(copy, 0);
        Restart_Host();
        EXPECT_EQ(cache->Get_Cached_File(url), copy);
    });
}

TEST_F(Without_Rights, ACopyInAClosedFolderIsForgotten) {
    Run([&] {
        fs::create_directory(own_folder);
        std::ofstream(own_folder / "copy.xml") << "copy";
        std::ofstream(Metadata_Path()) << List_Of({{url, (own_folder / "copy.xml").string()}});
        EXPECT_EQ(Loaded().size(), 1U);
        Set_Rights(own_folder, 0);
        EXPECT_TRUE(Loaded().empty());
        Set_Rights(own_folder, 0700);
        EXPECT_EQ(Loaded().size(), 1U);
    });
}

TEST_F(Without_Rights, AClosedCacheDirectoryIsAnEmptyCacheWithoutCopies) {
    Run([&] {
        fs::create_directory(own_folder);
        Set_Rights(own_folder, 0);
        Use_Own_Folder();
        const std::string path = cache->Get_Cached_File(url);
        Set_Rights(own_folder, 0700);
        EXPECT_NE(path, "") << "nobody notices that a download could not be written";
        EXPECT_TRUE(fs::is_empty(own_folder));
    });
}

/// Read-only while it is in use: downloads name copies that are not there, share files are served from
/// their last copy, and the list, a file that exists, is still written.
TEST_F(Without_Rights, ADirectoryThatBecomesReadOnlyIsUsedAgainWhenItIsNot) {
    Run([&] {
        fs::create_directory(own_folder);
        Use_Own_Folder();
        const std::string from_web = cache->Get_Cached_File(url);
        const std::string from_share = cache->Get_Cached_File(share);
        EXPECT_TRUE(fs::exists(from_web) && fs::exists(from_share));
        Set_Rights(own_folder, 0555);

        EXPECT_EQ(cache->Get_Cached_File(url), from_web) << "unchanged";
        EXPECT_EQ(cache->Get_Cached_File(share), from_share);
        EXPECT_FALSE(cache->Clear());
        EXPECT_EQ(cache->m_Cache_Entries.size(), 2U);
        EXPECT_TRUE(cache->Purge_Cache_Folder());
        EXPECT_TRUE(fs::exists(from_web) && fs::exists(from_share));

        cache->m_Cache_Entries.begin()->second.last_modified = "another time";
        std::next(cache->m_Cache_Entries.begin())->second.last_modified = "another time";
        const Served last_good = Get(share);
        EXPECT_EQ(last_good.path, from_share);
        EXPECT_TRUE(last_good.download_error);
        EXPECT_FALSE(fs::exists(cache->Get_Cached_File(url)));

        Set_Rights(own_folder, 0755);
        Expect_Current_Document(*cache, url);
        EXPECT_EQ(Version_Of(Content_Of(cache->Get_Cached_File(share)), "b.xml"), 1);
    });
}

TEST_F(Without_Rights, ADirectoryThatCouldNotBeEnteredAtFirstKeepsItsCopies) {
    Run([&] {
        fs::create_directory(own_folder);
        std::string from_web;
        for (const int rights : {0755, 0644}) {
            Set_Rights(own_folder, static_cast<unsigned>(rights));
            Use_Own_Folder();
            Set_Rights(own_folder, 0755);
            const std::string path = cache->Get_Cached_File(rights == 0755 ? url : share);
            from_web = rights == 0755 ? path : from_web;
        }
        EXPECT_TRUE(fs::exists(from_web));
    });
}

#endif

} // namespace
