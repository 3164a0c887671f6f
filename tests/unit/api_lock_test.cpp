#include "tests/unit/support/Api_Lock.h"
#include "tests/unit/support/Cache_Fixture.h"

#include <chrono>
#include <functional>
#include <future>

using namespace Recorded_Trace;
using testing::IsEmpty;

namespace {

/// The public operations exclude each other, from their first record to their last.
class Api_Lock : public Cache_Fixture {
protected:
    /// Expects each record and each directory question of `operation` under the lock, and the lock
    /// free afterwards.
    void Expect_Locked_Throughout(const std::function<void()>& operation) {
        Forget();
        std::size_t records = 0;
        std::size_t records_under_lock = 0;
        const During_Each check([&] {
            ++records;
            records_under_lock += Api_Lock_Is_Held() ? 1 : 0;
        });
        operation();
        EXPECT_NE(records > 0, Is_Off());
        EXPECT_EQ(records_under_lock, records);
        EXPECT_FALSE(Api_Lock_Is_Held());
    }

    /// Expects `operation` to begin only when the lock, held elsewhere, is free.
    void Expect_To_Wait(const std::function<void()>& operation) {
        Forget();
        std::unique_lock held(QEL::FrontEnd::FileCache::s_api_mutex);
        auto done = std::async(std::launch::async, operation);
        EXPECT_EQ(done.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        EXPECT_THAT(All(), IsEmpty());
        EXPECT_THAT(os->calls, IsEmpty());
        held.unlock();
        done.get();
        EXPECT_EQ(All().empty(), Is_Off());
    }

    std::string Get(const std::string& url, int request_kind = 213) {
        bool download_error = false;
        return cache.Get_Cached_File_and_Status(url, request_kind, download_error, nullptr, nullptr);
    }
};

TEST_F(Api_Lock, IsHeldForTheWholeOfEachOperation) {
    Expect_Locked_Throughout([&] { cache.Purge_Cache_Folder(); });
    for (const std::string& path : {std::string(), In_Cache("missing"), cache_directory, cache_directory}) {
        Expect_Locked_Throughout([&] { cache.Set_Cache_Directory(path); });
    }
    Cache_Copy("http://server/a", "a.txt", "", 0);
    Expect_Locked_Throughout([&] { cache.Clear(); });
    Expect_Locked_Throughout([&] { cache.Clear(); });
    Write_File(In_Cache("00000000-0000-0000-0000-000000000001.txt"), "");
    Expect_Locked_Throughout([&] { cache.Purge_Cache_Folder(); });
    os->on_directory_exists = [](const std::string&) { return false; };
    Expect_Locked_Throughout([&] { cache.Purge_Cache_Folder(); });
}

TEST_F(Api_Lock, IsHeldForTheWholeOfALookup) {
    os->expiry_minutes = 60;
    Expect_Locked_Throughout([&] { Get("http://server/too-early.xml"); });
    Use_Cache_Directory();
    bool held = false;
    g_services.requests[0].during_send = [&] { held = Api_Lock_Is_Held(); };
    for (const std::string& request : {std::string("http://server/file.xml"), std::string("http://server/file.xml"),
                                       In_Cache("missing.xml"), Write_File(In_Cache("local.xml"), ""),
                                       std::string("file:unsupported"), std::string("\\\\server\\share\\file.xml")}) {
        Expect_Locked_Throughout([&] { Get(request); });
    }
    EXPECT_TRUE(held) << "while a request is sent";
    Expect_Locked_Throughout([&] { cache.Get_Cached_File("http://server/other.xml"); });
    g_services.on_path_exists = [](const std::string&) { return true; };
    g_services.on_get_file_attributes = [](const std::string&) { return 0U; };
    Expect_Locked_Throughout([&] { Get("\\\\server\\share\\file.xml", 201); });
}

TEST_F(Api_Lock, IsFreeAfterAnExceptionOfTheHostsServices) {
    Use_Cache_Directory();
    os->on_directory_exists = [](const std::string&) -> bool { throw std::runtime_error("the host's"); };
    EXPECT_THROW(cache.Purge_Cache_Folder(), std::runtime_error);
    EXPECT_THROW(Get("\\\\server\\share\\file.xml"), std::runtime_error);
    EXPECT_FALSE(Api_Lock_Is_Held());
}

TEST_F(Api_Lock, EveryOperationWaitsForIt) {
    Expect_To_Wait([&] { cache.Set_Cache_Directory(""); });
    Expect_To_Wait([&] { Get("http://server/file.xml"); });
    Expect_To_Wait([&] { cache.Get_Cached_File("http://server/file.xml"); });
    Expect_To_Wait([&] { cache.Clear(); });
    Expect_To_Wait([&] { cache.Purge_Cache_Folder(); });
}

} // namespace
