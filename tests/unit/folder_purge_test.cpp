#include "filecache/oswrap/IOSWrapper.h"
#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

#include <cstdint>
#include <cstdlib>
#include <regex>

using namespace Recorded_Trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string First = "00000000-0000-0000-0000-000000000001.txt";
const std::string Second = "00000000-0000-0000-0000-000000000002.xml";
const std::string Third = "00000000-0000-0000-0000-000000000003.cached";

/// The records with the numbers that deletions report as the texts that they stand for. The number is the low
/// half of the text's address; texts lie near each other in a program.
Records With_Reported_Texts(Records records) {
    static const std::regex reported("(Delete_File\\('[^']*'\\) returned )(-?[0-9]+)\n");
    static const char anchor[] = "a text of the program";
    for (Record& record : records) {
        std::smatch found;
        if (!std::regex_search(record.text, found, reported)) {
            continue;
        }
        const auto here = reinterpret_cast<std::intptr_t>(anchor);
        const std::intptr_t distance = static_cast<std::int32_t>(std::stoll(found[2].str()) - here);
        constexpr std::intptr_t program_size = 1 << 28;
        const bool in_program = std::abs(distance) < program_size;
        record.text = found.prefix().str() + found[1].str() +
                      (in_program ? std::string(reinterpret_cast<const char*>(here + distance)) : found[2].str()) +
                      '\n';
    }
    return records;
}

class Folder_Purge : public Cache_Fixture {
protected:
    Folder_Purge() {
        cache.m_Cache_Directory = cache_directory;
        os->on_find = [this](const std::string&) { return found; };
    }

    static constexpr const char* method = "Delete_Cached_Files";

    /// The shape of a UUID and any extension.
    std::string Pattern() const {
        std::string pattern;
        for (const std::size_t group : {8U, 4U, 4U, 4U, 12U}) {
            pattern += (pattern.empty() ? "" : "-") + std::string(group, '?');
        }
        return In_Cache(pattern + ".*");
    }

    /// The whole sequence, of a search that finds something or nothing.
    Records Deletion(bool only_obsolete, const Records& of_files) const {
        const auto* const handle = of_files.empty() ? QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle : os->Search_Handle();
        return Call(method, std::string("only_obsolete=") + (only_obsolete ? "true" : "false")) +
               Data(method, "FindFirstFile returned " + Address_Text(handle) + " (INVALID_HANDLE_VALUE=" +
                                Address_Text(QEL::FrontEnd::OSWRAPI::Invalid_Find_Handle) + ")\n") +
               (of_files.empty() ? Records() : of_files + Data(method, "FindNextFile returned 0\n"));
    }
    Records Deleted(const std::string& name, const std::string& reported = "true") const {
        return Data(method, "Delete_File('" + In_Cache(name) + "') returned " + reported + "\n");
    }
    Records Not_Deleted(const std::string& name) const {
        return Deleted(name, "false") + Warning(method, "Delete_File failed for file '" + In_Cache(name) + "'.\n");
    }
    static Records Kept(const std::string& name) {
        return Data(method, "File '" + name + "' will be ignored as it is not obsolete.\n");
    }

    void Put(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            Write_File(In_Cache(name), name);
            found.push_back(name);
        }
    }

    bool On_Disk(const std::string& name) const { return std::filesystem::exists(In_Cache(name)); }

    std::vector<std::string> found; ///< what the search finds
};

// Delete_Cached_Files

TEST_F(Folder_Purge, SearchesTheNamesOfCachedFiles) {
    cache.Delete_Cached_Files(false);
    EXPECT_THAT(os->calls, ElementsAre("FindFirstFile(" + Pattern() + ")"));
    EXPECT_EQ(All(), Deletion(false, {}));
}

TEST_F(Folder_Purge, JoinsADriveDirectoryByABackslash) {
    cache.m_Cache_Directory = "C:\\cache";
    found = {First};
    os->on_delete_file = [](const std::string&) { return true; };
    cache.Delete_Cached_Files(false);
    EXPECT_THAT(os->calls,
                ElementsAre("FindFirstFile(C:\\cache\\" + Pattern().substr(cache_directory.size() + 1) + ")",
                            "Delete_File(C:\\cache\\" + First + ")", "FindNextFile(search)", "FindClose(search)"));
}

TEST_F(Folder_Purge, DeletesEveryFileFound) {
    Put({First, Second});
    cache.m_Cache_Entries["u"] = {In_Cache(First), "m", 1};
    cache.Delete_Cached_Files(false);
    EXPECT_EQ(With_Reported_Texts(All()), Deletion(false, Deleted(First) + Deleted(Second)));
    EXPECT_THAT(os->calls, ElementsAre("FindFirstFile(" + Pattern() + ")", "Delete_File(" + In_Cache(First) + ")",
                                       "FindNextFile(search)", "Delete_File(" + In_Cache(Second) + ")",
                                       "FindNextFile(search)", "FindClose(search)"));
    EXPECT_FALSE(On_Disk(First));
    EXPECT_FALSE(On_Disk(Second));
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U) << "the entries are never changed";
}

TEST_F(Folder_Purge, ReportsWhatCannotBeDeletedAndGoesOn) {
    Put({First, Second, Third});
    os->on_delete_file = [this](const std::string& path) { return path == In_Cache(Second); };
    cache.Delete_Cached_Files(false);
    EXPECT_EQ(With_Reported_Texts(All()), Deletion(false, Not_Deleted(First) + Deleted(Second) + Not_Deleted(Third)));
    EXPECT_EQ(os->calls.back(), "FindClose(search)");
}

TEST_F(Folder_Purge, OfObsoleteFilesKeepsWhatAnEntryNames) {
    Put({First, Second, Third});
    cache.m_Cache_Entries["a"] = {In_Cache(Third), "m", 1};
    cache.m_Cache_Entries["b"] = {In_Cache(First), "m", 1};
    cache.m_Cache_Entries["c"] = {In_Cache(First), "m", 1};
    cache.Delete_Cached_Files(true);
    EXPECT_EQ(With_Reported_Texts(All()), Deletion(true, Kept(First) + Deleted(Second) + Kept(Third)));
    EXPECT_TRUE(On_Disk(First));
    EXPECT_FALSE(On_Disk(Second));
    EXPECT_TRUE(On_Disk(Third));
    EXPECT_EQ(cache.m_Cache_Entries.size(), 3U);
}

TEST_F(Folder_Purge, OfObsoleteFilesComparesThePathsByteForByte) {
    const std::string name = "abcdefab-0000-0000-0000-000000000001.txt";
    found = {name};
    os->on_delete_file = [](const std::string&) { return true; };
    for (const std::string& cached_file :
         {In_Cache("ABCDEFAB-0000-0000-0000-000000000001.txt"), In_Cache("abcdefab-0000-0000-0000-000000000001.TXT"),
          name, In_Cache(name) + " ", In_Cache(name).substr(1), In_Cache(name + "x"), std::string()}) {
        cache.m_Cache_Entries = {{"u", {cached_file, "m", 1}}};
        Forget();
        cache.Delete_Cached_Files(true);
        EXPECT_EQ(os->Calls_Of("Delete_File"), 1U) << cached_file;
    }
    cache.m_Cache_Entries = {{"u", {In_Cache(name), "m", 1}}};
    Forget();
    cache.Delete_Cached_Files(true);
    EXPECT_EQ(os->Calls_Of("Delete_File"), 0U);
}

TEST_F(Folder_Purge, AsksTheServicesOnceForEachFile) {
    constexpr std::size_t files = 500;
    for (std::size_t i = 0; i < files; ++i) {
        found.push_back("name" + std::to_string(i));
        if (i % 2 == 0) {
            cache.m_Cache_Entries["http://server/" + std::to_string(i)] = {In_Cache(found.back()), "m", 1};
        }
    }
    os->on_delete_file = [](const std::string&) { return true; };
    cache.Delete_Cached_Files(true);
    EXPECT_EQ(os->Calls_Of("FindFirstFile"), 1U);
    EXPECT_EQ(os->Calls_Of("FindNextFile"), files);
    EXPECT_EQ(os->Calls_Of("Delete_File"), files / 2);
    EXPECT_EQ(os->Calls_Of("FindClose"), 1U);
    EXPECT_EQ(os->calls.size(), 2 + files + files / 2);
}

TEST_F(Folder_Purge, FindsOnTheDiskNothingButNamesOfItsOwn) {
    os->on_find = nullptr;
    const std::string others[] = {"qelfilecache_Metadata.txt",
                                  "landscape.xml",
                                  "00000000-0000-0000-0000-000000000001",
                                  "00000000_0000-0000-0000-000000000001.txt",
                                  "00000000-0000-0000-0000_000000000001.txt",
                                  "00000000-0000-0000-0000-00000000001.txt",
                                  "00000000-0000-0000-0000-0000000000001.txt"};
    for (const std::string& name : others) {
        Write_File(In_Cache(name), name);
    }
    Write_File(In_Cache(First), "");
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_FALSE(On_Disk(First));
    for (const std::string& name : others) {
        EXPECT_EQ(Content(In_Cache(name)), name);
    }
}

// Purge_Cache_Folder

TEST_F(Folder_Purge, WithoutACacheDirectoryFails) {
    cache.m_Cache_Directory.clear();
    EXPECT_FALSE(cache.Purge_Cache_Folder());
    EXPECT_EQ(All(), Call("Purge_Cache_Folder") + Bug() +
                         Error("Purge_Cache_Folder", "Trying to purge a cache directory ''.\n") +
                         Return("Purge_Cache_Folder", "false"));
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(Folder_Purge, OfAMissingDirectorySucceeds) {
    cache.m_Cache_Directory = In_Cache("missing");
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_EQ(All(), Call("Purge_Cache_Folder") +
                         Data("Purge_Cache_Folder", "Trying to purge an non-existing cache directory.\n") +
                         Return("Purge_Cache_Folder", "true"));
    EXPECT_THAT(os->calls, ElementsAre("Directory_Exists(" + In_Cache("missing") + ")"));
}

TEST_F(Folder_Purge, DeletesReferencedFilesToo) {
    Put({First, Second});
    cache.m_Cache_Entries["u"] = {In_Cache(First), "m", 1};
    cache.Serialize();
    const std::string metadata = Content(Metadata_Path());
    Forget();
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_EQ(With_Reported_Texts(All()), Call("Purge_Cache_Folder") +
                                              Deletion(false, Deleted(First) + Deleted(Second)) +
                                              Return("Purge_Cache_Folder", "true"));
    EXPECT_EQ(os->calls.front(), "Directory_Exists(" + cache_directory + ")");
    EXPECT_FALSE(On_Disk(First));
    EXPECT_FALSE(On_Disk(Second));
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
    EXPECT_EQ(Content(Metadata_Path()), metadata);
}

TEST_F(Folder_Purge, ThatFindsOrDeletesNothingSucceeds) {
    EXPECT_TRUE(cache.Purge_Cache_Folder());
    EXPECT_EQ(All(), Call("Purge_Cache_Folder") + Deletion(false, {}) + Return("Purge_Cache_Folder", "true"));
    EXPECT_EQ(os->Calls_Of("FindClose"), 0U);
    Put({First});
    os->on_delete_file = [](const std::string&) { return false; };
    EXPECT_TRUE(cache.Purge_Cache_Folder());
}

TEST_F(Folder_Purge, DoesNotCountAsTheSweep) {
    cache.Purge_Cache_Folder();
    EXPECT_FALSE(cache.m_Obsolete_Files_Cleaned);
    cache.m_Obsolete_Files_Cleaned = true;
    Put({First});
    cache.Purge_Cache_Folder();
    EXPECT_FALSE(On_Disk(First)) << "a purge is not bound to the sweep";
}

// Cleanup_Obsolete_Cached_Files

class Sweep : public Folder_Purge {
protected:
    static constexpr const char* sweep = "Cleanup_Obsolete_Cached_Files";

    static Records First_Call() { return Call(sweep) + Data(sweep, "Cleaning up obsolete files.\n"); }
    static Records Further_Call() {
        return Call(sweep) +
               Data(sweep, "Obsolete files already cleaned up. Ignoring redundand cache cleanup request.\n");
    }
};

TEST_F(Sweep, DeletesWhatNoEntryNames) {
    Put({First, Second});
    cache.m_Cache_Entries["u"] = {In_Cache(First), "m", 1};
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_EQ(With_Reported_Texts(All()), First_Call() + Deletion(true, Kept(First) + Deleted(Second)));
    EXPECT_TRUE(On_Disk(First));
    EXPECT_FALSE(On_Disk(Second));
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
}

TEST_F(Sweep, RunsOnceInTheLifeOfAnObject) {
    cache.Cleanup_Obsolete_Cached_Files();
    Put({First});
    Forget();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_EQ(All(), Further_Call());
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_TRUE(On_Disk(First));
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);

    cache.m_Cache_Directory = In_Cache("other");
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, IsEmpty()) << "not for another directory either";
}

TEST_F(Sweep, CountsAsDoneBeforeItRunsAndWhateverItsOutcome) {
    bool done_during_search = false;
    Put({First});
    os->on_find = [&](const std::string&) {
        done_during_search = cache.m_Obsolete_Files_Cleaned;
        return found;
    };
    os->on_delete_file = [](const std::string&) { return false; };
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_TRUE(done_during_search);
    EXPECT_EQ(With_Reported_Texts(All()), First_Call() + Deletion(true, Not_Deleted(First)));
    Forget();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_EQ(All(), Further_Call());
}

TEST_F(Sweep, OfAMissingDirectoryDoesNothing) {
    cache.m_Cache_Directory = In_Cache("missing");
    os->on_find = nullptr;
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_EQ(All(), First_Call() + Deletion(true, {}));
    EXPECT_EQ(os->calls.size(), 1U) << "the directory itself is not asked for";
}

TEST_F(Sweep, BeforeADirectoryIsSetSearchesTheRootAlone) {
    const std::string pattern = Pattern().substr(cache_directory.size() + 1);
    cache.m_Cache_Directory.clear();
    cache.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, ElementsAre("FindFirstFile(\\" + pattern + ")"));
    EXPECT_TRUE(cache.m_Obsolete_Files_Cleaned);
}

TEST_F(Sweep, RunsOnceMoreInACopyThatWasMadeBeforeIt) {
    QEL::FrontEnd::FileCache::CFileCache before(cache);
    cache.Cleanup_Obsolete_Cached_Files();
    QEL::FrontEnd::FileCache::CFileCache after(cache);
    Forget();
    after.Cleanup_Obsolete_Cached_Files();
    EXPECT_THAT(os->calls, IsEmpty());
    before.Cleanup_Obsolete_Cached_Files();
    EXPECT_EQ(os->Calls_Of("FindFirstFile"), 1U);
}

} // namespace
