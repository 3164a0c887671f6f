#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Url_Kinds : public Cache_Fixture {};

TEST_F(Url_Kinds, HttpAndHttpsInLowerCaseAreInternetUrls) {
    EXPECT_TRUE(cache.Is_Inet_URL("http://server/file.xml"));
    EXPECT_TRUE(cache.Is_Inet_URL("https://server/file.xml"));
    EXPECT_TRUE(cache.Is_Inet_URL("http:"));
    EXPECT_FALSE(cache.Is_Inet_URL("http"));
    EXPECT_FALSE(cache.Is_Inet_URL("HTTP://server/file.xml"));
    EXPECT_FALSE(cache.Is_Inet_URL("Https://server/file.xml"));
    EXPECT_FALSE(cache.Is_Inet_URL("ftp://server/file.xml"));
    EXPECT_FALSE(cache.Is_Inet_URL(""));
}

TEST_F(Url_Kinds, AnyDriveButAFixedDiskIsAShare) {
    os->on_get_drive_type = [](const std::string&) { return 4U; };
    EXPECT_TRUE(cache.Is_File_Share("c:\\data\\file.xml"));
    EXPECT_THAT(os->calls, ElementsAre("Get_Drive_Number(c:\\data\\file.xml)", "Get_Drive_Type(C:)"));
    EXPECT_EQ(All(), Kind_Test("Is_File_Share", "c:\\data\\file.xml", true));
}

} // namespace
