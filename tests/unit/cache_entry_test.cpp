#include "filecache/metadata/CacheEntry.h"

#include <gtest/gtest.h>

using QEL::FrontEnd::FileCache::CacheEntry;

namespace {

TEST(Cache_Entry, StartsEmptyAndNeverChecked) {
    const CacheEntry entry;
    EXPECT_EQ(entry.cached_file, "");
    EXPECT_EQ(entry.last_modified, "");
    EXPECT_EQ(entry.last_checked_remotely, 0U);
}

TEST(Cache_Entry, HoldsItsFieldsInOrder) {
    const CacheEntry entry = {"file", "stamp", 18446744073709551615U};
    EXPECT_EQ(entry.cached_file, "file");
    EXPECT_EQ(entry.last_modified, "stamp");
    EXPECT_EQ(entry.last_checked_remotely, 18446744073709551615U);
}

TEST(Cache_Entry, PrintsCopyAndStampOnOneLine) {
    const CacheEntry entry = {"C:\\cache\\x.txt", "Tue, 01 Jan 2019 10:00:00 GMT", 133000000000000000U};
    EXPECT_EQ(entry.To_String(), "<CacheEntry cached_file=\"C:\\cache\\x.txt\" "
                                 "last_modified=\"Tue, 01 Jan 2019 10:00:00 GMT\"/>");
}

TEST(Cache_Entry, PrintsEmptyTextsBetweenQuotes) {
    EXPECT_EQ(CacheEntry{}.To_String(), "<CacheEntry cached_file=\"\" last_modified=\"\"/>");
}

TEST(Cache_Entry, EscapesNothing) {
    const CacheEntry entry = {"a\"b<c>&\\%s", "\"/><CacheEntry \n\xE4", 1};
    EXPECT_EQ(entry.To_String(), "<CacheEntry cached_file=\"a\"b<c>&\\%s\" last_modified=\"\"/><CacheEntry \n\xE4\"/>");
}

} // namespace
