// Reading from a live share through the services that the cache uses.

#include "tests/live/share/Share_Fixture.h"

#include "platform/posix/share/Share_Path.h"
#include "util/File_Head.h"
#include "util/Last_Error.h"
#include "util/Path_Queries.h"

using namespace QEL::Tests;

namespace {

namespace fs = std::filesystem;
using QEL::FrontEnd::Util::FileSystem::Attribute_Read_Only;
using QEL::FrontEnd::Util::FileSystem::Get_File_Attributes;
using QEL::FrontEnd::Util::FileSystem::Path_Exists;
using QEL::FrontEnd::Util::FileSystem::Read_File_Head;

using Share_Files = Share_Fixture;

TEST_F(Share_Files, ReportTheModificationTimeToTheInterval) {
    const auto published = Publish("file", "content");
    for (const std::int64_t time : {133497123451234567, 133497123451234567, 133497123451234566}) {
        Set_Modification_Time(published, time);
        std::int64_t reported = 0;
        EXPECT_EQ(os->Stat_File(Samba_Server::Path("file"), reported), 0);
        EXPECT_EQ(reported, time);
    }
}

TEST_F(Share_Files, AreCopiedByteForByte) {
    for (const std::size_t size : {0UL, 1UL, 65535UL, 65536UL, 65537UL, 30000000UL}) {
        const std::string content = Rubbish(size);
        Publish("file", content);
        ASSERT_EQ(Copy_Error(), 0) << size;
        EXPECT_TRUE(Content_Of(target_file) == content) << size;
        fs::remove(target_file);
    }
}

TEST_F(Share_Files, ExistOrDoNot) {
    Publish("file", "content");
    fs::create_directory(server().Files() / "folder");
    for (const auto& [name, exists, is_file] :
         {std::tuple{"file", true, true}, {"folder", true, false}, {"other", false, false}}) {
        EXPECT_EQ(Path_Exists(Samba_Server::Path(name)), exists) << name;
        EXPECT_EQ(os->File_Exists(Samba_Server::Path(name)), is_file) << name;
        EXPECT_FALSE(os->Directory_Exists(Samba_Server::Path(name))) << "no cache directory can be there";
    }
}

TEST_F(Share_Files, HaveNamesWithBlanksPercentSignsAndLettersOfAllLanguages) {
    const std::vector<std::string> names = {"my landscape.xml",
                                            "100% #1 & more = (a); b+c,d'e~[x]{y}!$@^`.xml",
                                            "K\xC3\xB6ln \xE2\x82\xAC \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x97\x8E.xml",
                                            "%41%2F..%2Fescape.xml",
                                            "a%00b.xml",
                                            ".hidden",
                                            "trailing;port=1@host"};
    for (const std::string& name : names) {
        Publish(name, "content of " + name);
        EXPECT_EQ(Stat_Error(Samba_Server::Path(name)), 0) << name;
        ASSERT_EQ(Copy_Error(Samba_Server::Path(name)), 0) << name;
        EXPECT_EQ(Content_Of(target_file), "content of " + name);
        fs::remove(target_file);
    }
    Publish("a", "not asked for");
    Publish("A.xml", "not asked for");
    for (const char* const name : {"a?b", "a#b", "a%", "a\\..\\..\\a", "%61"}) {
        EXPECT_NE(Copy_Error(Samba_Server::Path(name)), 0) << name;
    }
}

TEST_F(Share_Files, CarryTheReadOnlyAttributeToTheCopy) {
    const auto published = Publish("file", "content");
    for (const auto& [rights, attribute, of_copy] :
         {std::tuple{0444, Attribute_Read_Only, 0400}, {0644, std::uint32_t{0}, 0600}}) {
        fs::permissions(published, fs::perms(rights));
        EXPECT_EQ(Get_File_Attributes(Samba_Server::Path("file")) & Attribute_Read_Only, attribute);
        ASSERT_EQ(Copy_Error(), 0);
        EXPECT_EQ(fs::status(target_file).permissions(), fs::perms(of_copy));
        EXPECT_TRUE(os->Delete_File(target_file));
        EXPECT_FALSE(fs::exists(target_file));
    }
}

TEST_F(Share_Files, AreReadFromTheirBeginning) {
    Publish("document", "%PDF-1.7 and so on");

    EXPECT_EQ(Read_File_Head(Samba_Server::Path("document"), 8), "%PDF-1.7");
    EXPECT_EQ(Read_File_Head(Samba_Server::Path("document"), 1000), "%PDF-1.7 and so on");
    EXPECT_EQ(Read_File_Head(Samba_Server::Path("document"), 0), "");
    EXPECT_EQ(QEL::FrontEnd::Util::FileSystem::File_Length(Samba_Server::Path("document")), 18U);
    EXPECT_THROW(Read_File_Head(Samba_Server::Path("other"), 8), std::runtime_error);
}

TEST_F(Share_Files, AreReadByManyThreadsAtOnce) {
    constexpr int threads = 6;
    for (int number = 0; number < threads; ++number) {
        Publish(std::to_string(number), Rubbish(std::size_t{1000000} + static_cast<std::size_t>(number)));
    }

    In_Threads(threads, [&](int number) {
        const std::string name = std::to_string(number);
        const std::string own_copy = target_folder / name;
        for (int round = 0; round < 5; ++round) {
            EXPECT_EQ(Stat_Error(Samba_Server::Path(name)), 0);
            EXPECT_NE(os->Copy_File(Samba_Server::Path(name).c_str(), own_copy.c_str(), 1), 0);
            EXPECT_TRUE(Content_Of(own_copy) == Content_Of(server().Files() / name));
            EXPECT_TRUE(os->Delete_File(own_copy));
        }
    });
}

// Paths of shares

std::string Url_Of(std::string_view path) {
    const auto parts = QEL::FrontEnd::Platform::Parse_Share_Path(path);
    return parts ? QEL::FrontEnd::Platform::To_Smb_Url(*parts) : "refused";
}

TEST(Share_Path, BecomesAUrl) {
    EXPECT_EQ(Url_Of(R"(\\server\share\folder\file.xml)"), "smb://server/share/folder/file.xml");
    EXPECT_EQ(Url_Of(R"(\\192.0.2.1\share\file)"), "smb://192.0.2.1/share/file");
    EXPECT_EQ(Url_Of(R"(\\server\share)"), "smb://server/share/");
    EXPECT_EQ(Url_Of(R"(\\server\share\)"), "smb://server/share/");
    // Both slashes and repeated ones are one separator; dots are left to the server.
    EXPECT_EQ(Url_Of(R"(\\server/share\\folder//file\)"), "smb://server/share/folder/file");
    EXPECT_EQ(Url_Of(R"(\\server\share\folder\..\file)"), "smb://server/share/folder/../file");
}

TEST(Share_Path, EncodesWhatAUrlWouldTakeForSomethingElse) {
    EXPECT_EQ(Url_Of(R"(\\server\my share\100% #1?.xml)"), "smb://server/my%20share/100%25%20%231%3F.xml");
    EXPECT_EQ(Url_Of(R"(\\server\a;b@c:d\x&y=z)"), "smb://server/a%3Bb%40c%3Ad/x%26y%3Dz");
    EXPECT_EQ(Url_Of("\\\\server\\share\\K\xC3\xB6ln"), "smb://server/share/K%C3%B6ln");
    EXPECT_EQ(Url_Of(R"(\\server\share\already%20encoded)"), "smb://server/share/already%2520encoded");
}

TEST(Share_Path, NeedsServerAndShare) {
    for (const char* const path : {"", R"(\)", R"(\\)", R"(\\\)", R"(\\server)", R"(\\server\)", R"(\\\server\share)",
                                   R"(\server\share\file)", "//server/share/file", R"(C:\folder\file)"}) {
        EXPECT_EQ(Url_Of(path), "refused") << path;
    }
}

TEST(Share_Path, RefusesAServerThatIsMoreThanAName) {
    for (const char* const path :
         {R"(\\user@server\share\x)", R"(\\server:445\share\x)", R"(\\server@8080\share\x)", R"(\\a;b\share\x)",
          R"(\\server?x\share\x)", R"(\\.\pipe\x)", R"(\\?\C:\x)", R"(\\..\share\x)", R"(\\ser ver\share\x)",
          R"(\\[::1]\share\x)", R"(\\server%2F\share\x)", R"(\\server\..\x)", R"(\\server\.\x)"}) {
        EXPECT_EQ(Url_Of(path), "refused") << path;
    }
}

} // namespace
