#include "filecache/metadata/CacheEntry.h"

#include <gtest/gtest.h>

using QEL::FrontEnd::FileCache::CacheEntry;

namespace {

TEST(Cache_Entry, StartsEmptyAndHoldsItsFieldsInOrder) {
    const CacheEntry none;
    EXPECT_EQ(none.cached_file, "");
    EXPECT_EQ(none.last_modified, "");
    EXPECT_EQ(none.last_checked_remotely, 0U);
    const CacheEntry entry = {"file", "stamp", 18446744073709551615U};
    EXPECT_EQ(entry.cached_file, "file");
    EXPECT_EQ(entry.last_modified, "stamp");
    EXPECT_EQ(entry.last_checked_remotely, 18446744073709551615U);
}

TEST(Cache_Entry, PrintsCopyAndStampAsTheyStand) {
    EXPECT_EQ(CacheEntry{}.To_String(), "<CacheEntry cached_file=\"\" last_modified=\"\"/>");
    const CacheEntry entry = {"a\"b<c>&\\%s", "\"/><CacheEntry \n\xE4", 1};
    EXPECT_EQ(entry.To_String(), "<CacheEntry cached_file=\"a\"b<c>&\\%s\" last_modified=\"\"/><CacheEntry \n\xE4\"/>");
}

} // namespace
