#include "filecache/CFileCache.h"
#include "filecache/oswrap/IOSWrapper.h"
#include "tests/support/Standard_Library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Hosts and services are built apart from the library: the order of the virtual operations is part
// of the interface. It can be read where a pointer to an operation holds its place in the table.
#if defined(__GXX_ABI_VERSION) && defined(__x86_64__)

using QEL::FrontEnd::FileCache::IFileCache;
using QEL::FrontEnd::OSWRAPI::IOSWrapper;

namespace {

/// The places of operations in the table of their class. The destructor takes 0 and 1.
template <typename... Operations>
std::vector<std::ptrdiff_t> Places(Operations... operations) {
    const auto place = [](auto operation) {
        std::ptrdiff_t offset_and_one = 0;
        std::memcpy(&offset_and_one, &operation, sizeof(offset_and_one));
        return (offset_and_one - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
    };
    return {place(operations)...};
}

TEST(Interface_Order, OfTheCacheIsFixed) {
    EXPECT_THAT(Places(&IFileCache::Set_Cache_Directory, &IFileCache::Get_Cached_File,
                       &IFileCache::Get_Cached_File_and_Status, &IFileCache::Clear, &IFileCache::Purge_Cache_Folder,
                       &IFileCache::Get_Additional_Error_Info, &IFileCache::Get_Msg_Separator),
                testing::ElementsAre(2, 3, 4, 5, 6, 7, 8));
}

TEST(Interface_Order, OfTheServicesIsFixed) {
    EXPECT_THAT(Places(&IOSWrapper::Stat_File, &IOSWrapper::Get_Current_Time, &IOSWrapper::File_Exists,
                       &IOSWrapper::Delete_File, &IOSWrapper::Directory_Exists, &IOSWrapper::FindFirstFile,
                       &IOSWrapper::FindNextFile, &IOSWrapper::FindClose, &IOSWrapper::Get_Drive_Number,
                       &IOSWrapper::Get_Drive_Type, &IOSWrapper::Copy_File, &IOSWrapper::Read_Registry_Int),
                testing::ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13));
}

} // namespace

#endif
