// Requests of every kind leave nothing open.

#include "tests/faults/support/Amount.h"
#include "tests/faults/support/Cache_Home.h"
#include "trace/Set_Trace_Level.h"

#ifdef _WIN32
#include <windows.h>
#endif

using namespace QEL::Tests;

namespace {

class Open_Handles : public Cache_Home {
protected:
    Open_Handles() { Offer({"a.xml", "b.xml"}, {"c.xml"}); }

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
        return static_cast<int>(Open_Files());
#endif
    }

    /// A hundred requests: hits, checks, replacements, failures, share files; with a trace, by new objects.
    void Make_A_Hundred_Requests() {
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ERROR);
        CFileCache host(Services());
        EXPECT_TRUE(host.Set_Cache_Directory(Cache_Directory()));
        const auto make = [&](int times, const std::string& request, bool is_served) {
            for (int i = 0; i < times; ++i) {
                EXPECT_NE(host.Get_Cached_File(request).empty(), is_served) << request;
            }
        };
        Set_Expiry_Minutes(60);
        make(80, requests[0], true);
        Set_Expiry_Minutes(0);
        Publish(requests[1]);
        Publish(requests[2]);
        make(5, requests[1], true);
        make(5, requests[2], true);
        make(5, std::string(Failing_OS_Wrapper::Share) + "missing.xml", false);
        make(2, Web_Url("missing.xml"), false);
        make(2, "http://127.0.0.1:1/refused.xml", false);
        make(1, "/no/such/file.xml", false);
        EXPECT_TRUE(host.Clear());
        EXPECT_TRUE(host.Purge_Cache_Folder());
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
    }
};

TEST_F(Open_Handles, AreNotMoreAfterThousandsOfRequests) {
#ifdef _WIN32
    constexpr int usual_requests = 1000;
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
    Wait_Until([&] { return Count() <= before; }); // Wine's side of a connection closes in its own time
    std::cout << hundreds << "00 requests, " << before << " open before, " << Count() << " after\n";
    RecordProperty("requests", hundreds * 100);
    EXPECT_GT(before, 3);
    EXPECT_LE(Count(), before);
}

} // namespace
