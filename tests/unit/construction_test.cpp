#include "filecache/locks.h"
#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using QEL::FrontEnd::FileCache::CacheEntry;
using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::IFileCache;
using testing::IsEmpty;

namespace {

static_assert(std::is_base_of_v<IFileCache, CFileCache>);
static_assert(std::is_convertible_v<CFileCache*, IFileCache*>);
static_assert(std::is_abstract_v<IFileCache>);
static_assert(std::is_copy_constructible_v<CFileCache> && std::is_copy_assignable_v<CFileCache>);
static_assert(std::is_constructible_v<CFileCache, std::shared_ptr<QEL::FrontEnd::OSWRAPI::IOSWrapper>>);
static_assert(std::has_virtual_destructor_v<IFileCache>);
static_assert(std::is_same_v<decltype(CacheEntry::last_checked_remotely), std::uint64_t>);

class Construction : public Cache_Fixture {
protected:
    static constexpr auto Ignore_All_Errors = static_cast<decltype(CFileCache::m_Cert_Error_Handling_Mode)>(2);

    /// Gives every member of `object` a value that a new object does not have.
    static void Fill(CFileCache& object) {
        object.m_Cache_Entries["http://server/a"] = {"C:\\cache\\a.xml", "yesterday", 17};
        object.m_Cache_Directory = "C:\\cache";
        object.m_Obsolete_Files_Cleaned = true;
        object.m_Connect_Timeout = 5000;
        object.m_errHTTPFileDownLoad = 2;
        object.m_errFileShareDownLoad = 4;
        object.m_Cert_Error_Handling_Mode = Ignore_All_Errors;
        object.m_Cert_Error_Parameters = {"https://server/a", "https://server/b"};
        object.m_Cert_Error_Detected = true;
        object.m_Additional_Error_Info = "certificate expired";
    }

    /// Every member but the services.
    static auto Members(const CFileCache& object) {
        std::string entries;
        for (const auto& [url, entry] : object.m_Cache_Entries) {
            entries += url + entry.To_String() + std::to_string(entry.last_checked_remotely);
        }
        return std::tuple(entries, object.m_Cache_Directory, object.m_Magic.Is_Initialized(),
                          object.m_Obsolete_Files_Cleaned, object.m_Connect_Timeout, object.m_errHTTPFileDownLoad,
                          object.m_errFileShareDownLoad, object.m_Cert_Error_Handling_Mode,
                          object.m_Cert_Error_Parameters, object.m_Cert_Error_Detected, object.m_Additional_Error_Info);
    }

    static void Expect_New(const CFileCache& object, bool has_detector = true) {
        const std::string nothing;
        EXPECT_EQ(Members(object), std::tuple(nothing, nothing, has_detector, false, 0, 0, 0,
                                              decltype(CFileCache::m_Cert_Error_Handling_Mode){},
                                              std::vector<std::string>(), false, nothing));
    }
};

TEST_F(Construction, ANewObjectIsEmptyAndReadyWhateverTheMemoryHeldBefore) {
    alignas(CFileCache) std::byte memory[sizeof(CFileCache)];
    std::fill(std::begin(memory), std::end(memory), std::byte{0xA5});
    auto* const fresh = ::new (static_cast<void*>(memory)) CFileCache(os);
    Expect_New(*fresh);
    EXPECT_EQ(fresh->m_OS_Wrapper, os);
    fresh->~CFileCache();
    EXPECT_THAT(os->calls, IsEmpty()) << "neither disk nor configuration is touched";
    EXPECT_THAT(g_services.registry_calls, IsEmpty());
    EXPECT_EQ(g_services.cert_parameters_read + g_services.os_created, 0);
    Expect_Records("D CFileCache: CALL\nD Initialize_Mime: CALL\nD Initialize_Mime: MIME magic is not initialized.");
    EXPECT_EQ(g_services.magic_loaded, 2) << "once for the fixture's object, once for this one";
}

TEST_F(Construction, TheOrderOfTheMembersIsFixed) {
    const void* const members[] = {&cache.m_Cache_Entries,
                                   &cache.m_Cache_Directory,
                                   &cache.m_Magic,
                                   &cache.m_OS_Wrapper,
                                   &cache.m_Obsolete_Files_Cleaned,
                                   &cache.m_Connect_Timeout,
                                   &cache.m_errHTTPFileDownLoad,
                                   &cache.m_errFileShareDownLoad,
                                   &cache.m_Cert_Error_Handling_Mode,
                                   &cache.m_Cert_Error_Parameters,
                                   &cache.m_Cert_Error_Detected,
                                   &cache.m_Additional_Error_Info};
    EXPECT_TRUE(std::is_sorted(std::begin(members), std::end(members), std::less<>()));
}

TEST_F(Construction, ADetectorThatStaysUninitialisedIsNotAFailureAndOneThatIsInitialisedNotLoadedAgain) {
    g_services.magic_loads = false;
    CFileCache fresh(os);
    Expect_New(fresh, false);
    EXPECT_FALSE(CFileCache(fresh).m_Magic.Is_Initialized());

    g_services.magic_loads = true;
    const int loaded = g_services.magic_loaded;
    Forget();
    for (int time = 0; time < 2; ++time) {
        fresh.Initialize_Mime();
        EXPECT_TRUE(fresh.m_Magic.Is_Initialized());
    }
    EXPECT_EQ(g_services.magic_loaded, loaded + 1);
    Expect_Records("D Initialize_Mime: CALL\nD Initialize_Mime: MIME magic is not initialized.\n"
                   "D Initialize_Mime: CALL");
}

TEST_F(Construction, CopyAndAssignmentTakeEveryMemberAndTraceNothing) {
    Fill(cache);
    const auto filled = Members(cache);
    const auto other_os = std::make_shared<Scripted_OS>();
    CFileCache target(other_os);
    target.m_Cache_Entries["http://server/z"] = {"z", "z", 1};
    target.m_Cert_Error_Parameters = {"1", "2", "3"};
    const int loaded = g_services.magic_loaded;
    Forget();

    const CFileCache copy(cache);
    EXPECT_EQ(&(target = cache), &target);
    const CFileCache& same = target;
    target = same;

    EXPECT_EQ(g_services.magic_loaded, loaded);
    for (const CFileCache* const object : std::initializer_list<const CFileCache*>{&copy, &target, &cache}) {
        EXPECT_EQ(Members(*object), filled);
        EXPECT_EQ(object->m_OS_Wrapper, os);
    }
    EXPECT_EQ(other_os.use_count(), 1);
    EXPECT_THAT(All(), IsEmpty());
    EXPECT_THAT(os->calls, IsEmpty());
    target.m_Cache_Entries.clear();
    EXPECT_EQ(cache.m_Cache_Entries.size(), 1U);
}

TEST_F(Construction, TheInterfaceCanBeCopiedWithoutEffect) {
    Fill(cache);
    CFileCache other(os);
    static_cast<IFileCache&>(other) = static_cast<const IFileCache&>(cache);
    Expect_New(other);
}

TEST_F(Construction, TheTextsForTheHostAreUntracedCopiesAndDoNotWaitForARequest) {
    Forget();
    const IFileCache& through_interface = cache;
    EXPECT_EQ(through_interface.Get_Msg_Separator(), "=======================================");
    EXPECT_EQ(cache.Get_Additional_Error_Info(), "");
    Fill(cache);
    std::unique_lock held(QEL::FrontEnd::FileCache::s_api_mutex);
    auto texts =
        std::async(std::launch::async, [&] { return cache.Get_Additional_Error_Info() + cache.Get_Msg_Separator(); });
    const bool returned = texts.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    held.unlock();
    EXPECT_TRUE(returned);
    EXPECT_EQ(texts.get(), "certificate expired" + std::string(39, '='));
    EXPECT_THAT(All(), IsEmpty());
    EXPECT_THAT(os->calls, IsEmpty());
}

// Hosts and services are built apart from the library: the order of the virtual operations is part of the interface. It
// can be read where a pointer to an operation holds its place in the table.
#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)

template <typename... Operations>
void Expect_Order(Operations... operations) {
    std::ptrdiff_t place = 2; // behind the destructor
    const auto expect_next = [&place](auto operation) {
        std::ptrdiff_t offset_and_one = 0;
        std::memcpy(&offset_and_one, &operation, sizeof(offset_and_one));
        EXPECT_EQ(offset_and_one - 1, place++ * static_cast<std::ptrdiff_t>(sizeof(void*)));
    };
    (expect_next(operations), ...);
}

TEST(Interface_Order, IsFixed) {
    Expect_Order(&IFileCache::Set_Cache_Directory, &IFileCache::Get_Cached_File,
                 &IFileCache::Get_Cached_File_and_Status, &IFileCache::Clear, &IFileCache::Purge_Cache_Folder,
                 &IFileCache::Get_Additional_Error_Info, &IFileCache::Get_Msg_Separator);
    using QEL::FrontEnd::OSWRAPI::IOSWrapper;
    Expect_Order(&IOSWrapper::Stat_File, &IOSWrapper::Get_Current_Time, &IOSWrapper::File_Exists,
                 &IOSWrapper::Delete_File, &IOSWrapper::Directory_Exists, &IOSWrapper::FindFirstFile,
                 &IOSWrapper::FindNextFile, &IOSWrapper::FindClose, &IOSWrapper::Get_Drive_Number,
                 &IOSWrapper::Get_Drive_Type, &IOSWrapper::Copy_File, &IOSWrapper::Read_Registry_Int);
}

#endif

} // namespace
