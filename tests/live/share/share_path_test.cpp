#include "platform/posix/share/Share_Path.h"

#include <gtest/gtest.h>

namespace {

using QEL::FrontEnd::Platform::Parse_Share_Path;
using QEL::FrontEnd::Platform::To_Smb_Url;

std::string Url_Of(std::string_view path) {
    const auto parts = Parse_Share_Path(path);
    return parts ? To_Smb_Url(*parts) : "refused";
}

TEST(SharePath, BecomesAUrl) {
    EXPECT_EQ(Url_Of(R"(\\server\share\folder\file.xml)"), "smb://server/share/folder/file.xml");
    EXPECT_EQ(Url_Of(R"(\\192.0.2.1\share\file)"), "smb://192.0.2.1/share/file");
    EXPECT_EQ(Url_Of(R"(\\server\share)"), "smb://server/share/");
    EXPECT_EQ(Url_Of(R"(\\server\share\)"), "smb://server/share/");
    // Both slashes and repeated ones are one separator; dots are left to the server.
    EXPECT_EQ(Url_Of(R"(\\server/share\\folder//file\)"), "smb://server/share/folder/file");
    EXPECT_EQ(Url_Of(R"(\\server\share\folder\..\file)"), "smb://server/share/folder/../file");
}

TEST(SharePath, EncodesWhatAUrlWouldTakeForSomethingElse) {
    EXPECT_EQ(Url_Of(R"(\\server\my share\100% #1?.xml)"), "smb://server/my%20share/100%25%20%231%3F.xml");
    EXPECT_EQ(Url_Of(R"(\\server\a;b@c:d\x&y=z)"), "smb://server/a%3Bb%40c%3Ad/x%26y%3Dz");
    EXPECT_EQ(Url_Of("\\\\server\\share\\K\xC3\xB6ln"), "smb://server/share/K%C3%B6ln");
    EXPECT_EQ(Url_Of(R"(\\server\share\already%20encoded)"), "smb://server/share/already%2520encoded");
}

TEST(SharePath, NeedsServerAndShare) {
    for (const char* const path : {"", R"(\)", R"(\\)", R"(\\\)", R"(\\server)", R"(\\server\)", R"(\\\server\share)",
                                   R"(\server\share\file)", "//server/share/file", R"(C:\folder\file)"}) {
        EXPECT_EQ(Url_Of(path), "refused") << path;
    }
}

TEST(SharePath, RefusesAServerThatIsMoreThanAName) {
    for (const char* const path :
         {R"(\\user@server\share\x)", R"(\\server:445\share\x)", R"(\\server@8080\share\x)", R"(\\a;b\share\x)",
          R"(\\server?x\share\x)", R"(\\.\pipe\x)", R"(\\?\C:\x)", R"(\\..\share\x)", R"(\\ser ver\share\x)",
          R"(\\[::1]\share\x)", R"(\\server%2F\share\x)", R"(\\server\..\x)", R"(\\server\.\x)"}) {
        EXPECT_EQ(Url_Of(path), "refused") << path;
    }
}

} // namespace
