#include "filecache/CFileCache.h"
#include "filecache/trace_messages.h"
#include "tests/support/Counted_Allocations.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"

#include <gtest/gtest.h>

using namespace QEL::Tests;

namespace {

using QEL::FrontEnd::FileCache::CFileCache;
using QEL::FrontEnd::FileCache::Enabled_Trace;
using QEL::FrontEnd::FileCache::Set_Trace_Level;

/// A cache with one fresh copy, as a host has it after its first request. All texts are longer than
/// what a text holds without an allocation.
class Allocations : public testing::Test {
protected:
    Allocations() {
        m_Configuration.Set_Number("LandscapeCacheExpiryPeriod", 60);
        // A configuration that has just been written is read again each time it is asked for.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        copy = m_Directory.Write("12345678-1234-1234-1234-123456789012.xml", "<landscape/>");
        const auto os = QEL::FrontEnd::OSWRAPI::IOSWrapper::Create();
        m_Directory.Write("qelfilecache_Metadata.txt",
                          "QEL Logon Landscape Cache Metadata\nversion\n2\nentries\n1\nstamp\n" +
                              std::to_string(os->Get_Current_Time()) + "\n" + copy + "\n" + url + "\n");
        EXPECT_TRUE(cache.Set_Cache_Directory(m_Directory.Path().string()));
        EXPECT_EQ(cache.Get_Cached_File(url), copy);
    }

    const std::string url = "https://landscape.example.com/configuration/landscape.xml";
    std::string copy;
    CFileCache cache{QEL::FrontEnd::OSWRAPI::IOSWrapper::Create()};

private:
    User_Configuration m_Configuration;
    Scratch_Directory m_Directory;
};

TEST_F(Allocations, AreCounted) {
    const Counted_Allocations allocations;
    EXPECT_EQ(std::string(100, 'x').size() + std::string(100, 'y').size(), 200U);
    EXPECT_EQ(allocations.Count(), 2U);
}

TEST_F(Allocations, OfAFreshHitAndOfALocalFileAreTheReturnedTextWithOrWithoutTheStatus) {
    bool download_error = true;
    int http_error = -1;
    int file_share_error = -1;
    for (const std::string& request : {url, copy}) {
        const Counted_Allocations allocations;
        const std::string path = cache.Get_Cached_File(request);
        EXPECT_EQ(allocations.Count(), 1U) << request;
        const std::string path_with_status =
            cache.Get_Cached_File_and_Status(request, 201, download_error, &http_error, &file_share_error);
        EXPECT_EQ(allocations.Count(), 2U) << request;
        EXPECT_EQ(path, copy);
        EXPECT_EQ(path_with_status, copy);
    }
}

TEST_F(Allocations, AreNoneForMessagesThatAreNotWritten) {
    Set_Trace_Level(QELPCTRC_OFF);
    const Counted_Allocations allocations;
    for (const int level : {QELPCTRC_ERROR, QELPCTRC_WARNING, QELPCTRC_DEVELOPER_NOTE, QELPCTRC_ADDITIONAL_DATA}) {
        EXPECT_EQ(Enabled_Trace(level), nullptr);
    }
    EXPECT_EQ(allocations.Count(), 0U);
}

} // namespace
