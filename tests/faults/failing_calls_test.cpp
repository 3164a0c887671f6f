// Every call of the services fails once, in every scenario, on the real disk and with real servers.

#include "tests/faults/support/Cache_Home.h"
#include "util/IRequest_Object.h"
#include "util/Non_Copyable.h"

namespace QEL::FrontEnd::FileCache {

// The linker gives every call of Create_Request_Object() to the first of these, and the real function the name of the
// second (option --wrap).
Request_Object_Creation Create_Failing_Request_Object(const std::string& copy_directory) __asm__(
    "__wrap__ZN3QEL8FrontEnd9FileCache21Create_Request_ObjectE"
    "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
Request_Object_Creation Create_Real_Request_Object(const std::string& copy_directory) __asm__(
    "__real__ZN3QEL8FrontEnd9FileCache21Create_Request_ObjectE"
    "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");

namespace {

std::size_t s_calls_left = 0; ///< of all request objects, the creation of one included, until one fails
HResult s_result = 0;         ///< which it has then
int s_alive = 0;              ///< objects that have been created and not released

/// The result of the call when it is the one.
std::optional<HResult> Failure() {
    if (s_calls_left == 0 || --s_calls_left > 0) {
        return std::nullopt;
    }
    return s_result;
}

/// The platform's request object, of which one call is not made and returns a result of the test's.
class Failing_Request : public IRequest_Object, private FrontEnd::Util::Non_Copyable {
public:
    explicit Failing_Request(std::unique_ptr<IRequest_Object> real) : m_Real(std::move(real)) { ++s_alive; }
    ~Failing_Request() override { --s_alive; }

    HResult Set_Timeouts(int resolve, int connect, int send, int receive) override {
        return Call([&] { return m_Real->Set_Timeouts(resolve, connect, send, receive); });
    }
    HResult Open(const char* method, const std::string& url) override {
        return Call([&] { return m_Real->Open(method, url); });
    }
    HResult Send() override {
        return Call([&] { return m_Real->Send(); });
    }
    HResult Get_Status(long& status) override {
        return Call([&] { return m_Real->Get_Status(status); });
    }
    HResult Get_Response_Header(const char* name, std::string& value) override {
        return Call([&] { return m_Real->Get_Response_Header(name, value); });
    }
    HResult Get_Response_Body(Response_Body& body) override {
        return Call([&] { return m_Real->Get_Response_Body(body); });
    }
    std::string Error_Description(Request_Interface failed_interface) override {
        return m_Real->Error_Description(failed_interface);
    }

private:
    template <typename Real_Call>
    static HResult Call(Real_Call real_call) {
        const auto failure = Failure();
        return failure ? *failure : real_call();
    }

    const std::unique_ptr<IRequest_Object> m_Real;
};

} // namespace

Request_Object_Creation Create_Failing_Request_Object(const std::string& copy_directory) {
    if (const auto failure = Failure()) {
        return {nullptr, *failure, 0};
    }
    Request_Object_Creation creation = Create_Real_Request_Object(copy_directory);
    if (creation.object) {
        creation.object = std::make_unique<Failing_Request>(std::move(creation.object));
    }
    return creation;
}

} // namespace QEL::FrontEnd::FileCache

namespace QEL::Tests {

namespace {

using namespace FrontEnd::FileCache;
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
    bool has_copies = false;      ///< of three documents, on the web and on the share
    bool has_changed = false;     ///< remotely, all of them
    bool has_strays = false;      ///< copies that no entry names
    bool is_of_version_1 = false; ///< the metadata file
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
        if (scenario.is_of_version_1) {
            Write_Version_1();
        }
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

    void Write_Version_1() const {
        const Entries entries = Loaded();
        std::ofstream file(Metadata_Path());
        file << "QEL Logon Landscape Cache Metadata\nversion\n1\nentries\n" << entries.size() << "\n";
        for (const auto& [request, entry] : entries) {
            file << entry.last_modified << "\n" << entry.cached_file << "\n" << request << "\n";
        }
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
        const bool service_has_failed = services->Has_Failed();
        const bool request_has_failed = std::exchange(s_calls_left, 0) == 0;
        EXPECT_EQ(Surroundings(), surroundings) << "around the cache directory";
        Check_Entries();
        Check_Next_Requests();
        EXPECT_EQ(Surroundings(), surroundings) << "around the cache directory, afterwards";
        return service_has_failed && request_has_failed;
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
    {.name = "LoadOfVersion1",
     .has_copies = true,
     .is_of_version_1 = true,
     .action = Action::Load,
     .difference = Difference::Forgotten_Entry},
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

/// Results that mean "no": unspecified, WinInet's unknown authority, denied, WinInet's refused connection
/// and time-out, the client's own, out of memory, unexpected. The last means "yes" and brings nothing.
constexpr std::array Results = {
    static_cast<HResult>(0x80004005U),
    static_cast<HResult>(0x80072F0DU),
#ifndef _WIN32 // A request takes its time under Wine, and the code that judges the result is the same.
    static_cast<HResult>(0x80070005U),
    static_cast<HResult>(0x80072EFDU),
    static_cast<HResult>(0x80072EE2U),
    static_cast<HResult>(0x800C0008U),
    static_cast<HResult>(0x8007000EU),
    static_cast<HResult>(0x8000FFFFU),
#endif
    HResult{1},
};

class Failing_Requests : public Failing_Calls {};

INSTANTIATE_TEST_SUITE_P(Scenarios, Failing_Requests, testing::Values(Scenarios[0], Scenarios[2], Scenarios[3]),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Failing_Requests, CallByCallWithEachResultLeaveASoundCache) {
    int failures = 0;
    for (const HResult result : Results) {
        for (std::size_t call = 1;; ++call) {
            SCOPED_TRACE("result " + std::to_string(result) + ", call " + std::to_string(call));
            Begin();
            s_calls_left = call;
            s_result = result;
            if (!Run_And_Check()) {
                break;
            }
            ++failures;
            EXPECT_TRUE(!GetParam().has_copies || !served.empty()) << "the last good copy is served";
            EXPECT_EQ(s_alive, 0);
        }
    }
    RecordProperty("failures", failures);
    EXPECT_GE(failures, static_cast<int>(Results.size()) * 7) << "the calls of one request object";
}

} // namespace

} // namespace QEL::Tests
