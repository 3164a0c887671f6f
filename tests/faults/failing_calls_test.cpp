// Every call of the services fails once, in every scenario, on the real disk and with real servers. Failing calls of
// the request object are a test of the product by itself.

#include "tests/faults/support/Cache_Home.h"

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::FileCache::CacheEntry;
using Operation = Failing_OS_Wrapper::Operation;

constexpr std::array Operation_Names = {"Stat_File",        "Get_Current_Time", "File_Exists",      "Delete_File",
                                        "Directory_Exists", "FindFirstFile",    "FindNextFile",     "Get_Drive_Number",
                                        "Get_Drive_Type",   "Copy_File",        "Read_Registry_Int"};

/// What a host has done before, and what it does while a call fails.
struct Scenario {
    /// What the map may differ in from what the metadata file loads to.
    enum class Difference {
        None,
        /// An entry is given up when its copy seems to be gone. The metadata file is not rewritten
        /// then, so the next process finds entry and copy as they were.
        Forgotten_Entry,
    };

    const char* name;
    std::uint32_t expiry_minutes = 0;
    bool has_copies = false;  ///< of three documents, on the web and on the share
    bool has_changed = false; ///< remotely, all of them
    bool has_strays = false;  ///< copies that no entry names
    enum class Action { Request_Web, Request_Share, Clear, Purge, Load } action;
    Difference difference = Difference::None;

    friend void PrintTo(const Scenario& scenario, std::ostream* stream) { *stream << scenario.name; }
};

class Failing_Calls : public Cache_Home, public testing::WithParamInterface<Scenario> {
protected:
    Failing_Calls() { Offer({"a.xml", "b.xml"}, {"c.xml"}); }

    /// A cache directory as the scenario begins with it, and a host on it.
    void Begin() {
        const Scenario& scenario = GetParam();
        Empty_The_Cache_Directory();
        Set_Expiry_Minutes(0);
        services = Services();
        if (scenario.has_copies) {
            Expect_Current_Documents(*Next_Host());
        }
        cache = std::make_unique<CFileCache>(services);
        if (scenario.has_strays) {
            for (const char* const name :
                 {"11111111-1111-1111-1111-111111111111.xml", "22222222-2222-2222-2222-222222222222.cached"}) {
                std::ofstream(cache_folder / name) << "stray";
            }
        }
        if (scenario.has_changed) {
            Publish_All();
        }
        if (scenario.action != Scenario::Action::Load) {
            ASSERT_TRUE(cache->Set_Cache_Directory(Cache_Directory()));
        }
        Set_Expiry_Minutes(scenario.expiry_minutes);
        entries_before = cache->m_Cache_Entries;
        requested.clear();
        served.clear();
        surroundings = Surroundings();
    }

    void Make(const std::string& request) {
        requested = request;
        served = cache->Get_Cached_File(request);
        Expect_Nothing_Or_A_Document(served, request);
    }

    void Act() {
        switch (GetParam().action) {
        case Scenario::Action::Request_Web:
            return Make(requests.front());
        case Scenario::Action::Request_Share:
            return Make(requests.back());
        case Scenario::Action::Clear:
            return static_cast<void>(cache->Clear());
        case Scenario::Action::Purge:
            return static_cast<void>(cache->Purge_Cache_Folder());
        case Scenario::Action::Load:
            return static_cast<void>(cache->Set_Cache_Directory(Cache_Directory()));
        }
    }

    /// The scenario while something fails, and everything that must hold behind it.
    /// @return false when the call that should fail was not made.
    bool Run_And_Check() {
        EXPECT_NO_THROW(Act());
        const bool has_failed = services->Has_Failed();
        EXPECT_EQ(Surroundings(), surroundings) << "around the cache directory";
        Check_Entries();
        Check_Next_Requests();
        EXPECT_EQ(Surroundings(), surroundings) << "around the cache directory, afterwards";
        return has_failed;
    }

    void Check_Entries() const {
        if (cache->m_Cache_Directory.empty()) {
            EXPECT_TRUE(cache->m_Cache_Entries.empty());
            return;
        }
        Entries known = cache->m_Cache_Entries;
        std::erase_if(known, [this](const auto& item) { return Has_Rightly_Lost_Its_Copy(item.first, item.second); });
        Entries loaded = Loaded();
        if (GetParam().difference == Scenario::Difference::Forgotten_Entry) {
            EXPECT_LE(loaded.size(), known.size() + 1);
            std::erase_if(loaded, [&](const auto& item) { return !known.contains(item.first); });
        }
        Expect_Equal(known, loaded);
        for (const auto& [request, entry] : known) {
            Expect_Nothing_Or_A_Document(entry.cached_file, request);
        }
    }

    /// An entry without its copy drops out with the next load. A purge leaves such entries in the map, and so
    /// does a request that returns nothing: it deletes the old copy. No entry is made without a copy.
    bool Has_Rightly_Lost_Its_Copy(const std::string& request, const CacheEntry& entry) const {
        const bool may_lose_it =
            GetParam().action == Scenario::Action::Purge || (request == requested && served.empty());
        const auto before = entries_before.find(request);
        return may_lose_it && before != entries_before.end() && before->second.cached_file == entry.cached_file &&
               !std::filesystem::exists(entry.cached_file);
    }

    /// With nothing failing any more, the same host is served what the remote side has now.
    void Check_Next_Requests() {
        Set_Expiry_Minutes(0);
        ASSERT_TRUE(cache->Set_Cache_Directory(Cache_Directory()));
        Expect_Current_Documents(*cache);

        // The next process's sweep leaves what the entries name, and nothing else.
        CFileCache next(services);
        ASSERT_TRUE(next.Set_Cache_Directory(Cache_Directory()));
        EXPECT_NE(next.Get_Cached_File(requests.front()), "");
        EXPECT_EQ(Copies(), Copies_Of(next.m_Cache_Entries));
    }

    std::shared_ptr<Failing_OS_Wrapper> services;
    Entries entries_before; ///< the map's, before a call fails
    std::string requested;  ///< by the scenario
    std::string served;     ///< what that returned
    Files surroundings;
};

using Action = Scenario::Action;
using Difference = Scenario::Difference;

const Scenario Scenarios[] = {
    {.name = "Download", .action = Action::Request_Web},
    {.name = "Hit", .expiry_minutes = 60, .has_copies = true, .action = Action::Request_Web},
    {.name = "Refresh", .has_copies = true, .action = Action::Request_Web},
    {.name = "Replace", .has_copies = true, .has_changed = true, .action = Action::Request_Web},
    {.name = "ShareCopy", .action = Action::Request_Share},
    {.name = "ShareHit", .expiry_minutes = 60, .has_copies = true, .action = Action::Request_Share},
    {.name = "ShareRefresh", .has_copies = true, .action = Action::Request_Share},
    {.name = "ShareReplace", .has_copies = true, .has_changed = true, .action = Action::Request_Share},
    {.name = "Clear", .has_copies = true, .action = Action::Clear, .difference = Difference::Forgotten_Entry},
    {.name = "Purge", .has_copies = true, .has_strays = true, .action = Action::Purge},
    {.name = "Sweep", .expiry_minutes = 60, .has_copies = true, .has_strays = true, .action = Action::Request_Web},
    {.name = "Load", .has_copies = true, .action = Action::Load, .difference = Difference::Forgotten_Entry},
};

INSTANTIATE_TEST_SUITE_P(Scenarios, Failing_Calls, testing::ValuesIn(Scenarios),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Failing_Calls, OfTheServicesOneByOneLeaveASoundCache) {
    int failures = 0;
    for (std::size_t operation = 0; operation < Operation_Names.size(); ++operation) {
        for (std::size_t call = 1;; ++call) {
            SCOPED_TRACE(std::string(Operation_Names[operation]) + ", call " + std::to_string(call));
            Begin();
            services->Fail(static_cast<Operation>(operation), call);
            if (!Run_And_Check()) {
                break;
            }
            ++failures;
        }
    }
    RecordProperty("failures", failures);
    EXPECT_GE(failures, 2);
}

} // namespace
