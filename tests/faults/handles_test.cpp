// Requests of every kind leave nothing open.

#include "tests/faults/support/Amount.h"
#include "tests/faults/support/Cache_Home.h"
#include "trace/Set_Trace_Level.h"

#include <chrono>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#endif

namespace QEL::Tests {

namespace {

class Open_Handles : public Cache_Home {
protected:
    Open_Handles() {
        for (const char* const name : {"a.xml", "b.xml"}) {
            web.Publish(name);
        }
        Publish_On_Share("c.xml");
#ifdef _WIN32
        _putenv_s("QEL_TRACE_DIR", home.string().c_str());
#else
        ::setenv("QEL_TRACE_DIR", home.c_str(), 1);
#endif
    }

    /// Handles or file descriptors of this process.
    static int Count() {
#ifdef _WIN32
        // Not every system on which this runs knows the number; all of them know their handles.
        constexpr std::uintptr_t beyond_all_handles = 0x10000;
        int count = 0;
        for (std::uintptr_t handle = 4; handle < beyond_all_handles; handle += 4) {
            DWORD flags = 0;
            count += GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags) != 0 ? 1 : 0;
        }
        return count;
#else
        int count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            ++count;
        }
        return count;
#endif
    }

    /// A hundred requests: hits, checks, replacements, failures, share files; with a trace, by new objects.
    void Make_A_Hundred_Requests() {
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
        CFileCache cache(std::make_shared<Failing_OS_Wrapper>(share_folder));
        EXPECT_TRUE(cache.Set_Cache_Directory(Cache_Directory()));
        Set_Expiry_Minutes(60);
        for (int i = 0; i < 80; ++i) {
            EXPECT_NE(cache.Get_Cached_File(web.Url("a.xml")), "");
        }
        Set_Expiry_Minutes(0);
        web.Publish("b.xml");
        Publish_On_Share("c.xml");
        for (int i = 0; i < 5; ++i) {
            EXPECT_NE(cache.Get_Cached_File(web.Url("b.xml")), "");
            EXPECT_NE(cache.Get_Cached_File(Share_Path("c.xml")), "");
            EXPECT_EQ(cache.Get_Cached_File(Share_Path("missing.xml")), "");
        }
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(cache.Get_Cached_File(web.Url("missing.xml")), "");
            EXPECT_EQ(cache.Get_Cached_File("http://127.0.0.1:1/refused.xml"), "");
        }
        EXPECT_EQ(cache.Get_Cached_File("/no/such/file.xml"), "");
        EXPECT_TRUE(cache.Clear());
        EXPECT_TRUE(cache.Purge_Cache_Folder());
        FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    }
};

TEST_F(Open_Handles, AreNotMoreAfterThousandsOfRequests) {
#ifdef _WIN32
    constexpr int usual_requests = 2000;
#else
    constexpr int usual_requests = 10000;
#endif
    const int hundreds = Amount("QEL_HANDLE_REQUESTS", usual_requests, 100) / 100;
    for (int i = 0; i < 3; ++i) { // what is opened once and kept
        Make_A_Hundred_Requests();
    }
    const int before = Count();
    for (int i = 0; i < hundreds; ++i) {
        Make_A_Hundred_Requests();
    }
    // The server's side of a connection is this process's as well, and closes in its own time.
    for (int attempt = 0; attempt < 100 && Count() > before; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    std::cout << hundreds << "00 requests, " << before << " open before, " << Count() << " after\n";
    RecordProperty("requests", hundreds * 100);
    EXPECT_GT(before, 3);
    EXPECT_LE(Count(), before);
}

} // namespace

} // namespace QEL::Tests
