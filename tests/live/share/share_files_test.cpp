// Reading from a live share through the services that the cache uses.

#include "tests/live/share/Share_Fixture.h"

#include "util/File_Head.h"
#include "util/Last_Error.h"
#include "util/Path_Queries.h"

namespace QEL::Tests {

namespace {

namespace fs = std::filesystem;
using FrontEnd::Util::FileSystem::Attribute_Read_Only;
using FrontEnd::Util::FileSystem::Get_File_Attributes;
using FrontEnd::Util::FileSystem::Path_Exists;
using FrontEnd::Util::FileSystem::Read_File_Head;

class Share_Files : public Share_Fixture {
protected:
    std::int64_t Time_Of(const std::string& name) {
        std::int64_t time = 0;
        EXPECT_EQ(os->Stat_File(Samba_Server::Path(name), time), 0) << name;
        return time;
    }
    bool Copy(const std::string& source, const fs::path& target) {
        return os->Copy_File(source.c_str(), target.c_str(), 1) != 0;
    }
};

TEST_F(Share_Files, ReportTheModificationTimeToTheInterval) {
    const auto published = Publish("landscape.xml", "<landscape/>");
    for (const std::int64_t time : {133497123451234567, 133497123451234567, 133497123451234566}) {
        Set_Modification_Time(published, time);
        EXPECT_EQ(Time_Of("landscape.xml"), time);
    }
}

TEST_F(Share_Files, AreCopiedByteForByte) {
    for (const std::size_t size : {0UL, 1UL, 65535UL, 65536UL, 65537UL, 30000000UL}) {
        const std::string content = Rubbish(size);
        Publish("data.bin", content);
        const auto target = target_folder / ("copy." + std::to_string(size));

        ASSERT_TRUE(Copy(Samba_Server::Path("data.bin"), target)) << size;
        EXPECT_TRUE(Content_Of(target) == content) << size;
    }
}

TEST_F(Share_Files, ExistOrDoNot) {
    Publish("landscape.xml", "<landscape/>");
    fs::create_directory(server().Files() / "folder");

    EXPECT_TRUE(os->File_Exists(Samba_Server::Path("landscape.xml")));
    EXPECT_FALSE(os->File_Exists(Samba_Server::Path("folder")));
    EXPECT_FALSE(os->File_Exists(Samba_Server::Path("other.xml")));
    EXPECT_FALSE(os->Directory_Exists(Samba_Server::Path("folder"))) << "no cache directory can be there";
    EXPECT_TRUE(Path_Exists(Samba_Server::Path("folder")));
    EXPECT_TRUE(Path_Exists(Samba_Server::Path("landscape.xml")));
    EXPECT_FALSE(Path_Exists(Samba_Server::Path("other.xml")));
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

        Time_Of(name);
        ASSERT_TRUE(Copy(Samba_Server::Path(name), target_folder / "copy")) << name;
        EXPECT_EQ(Content_Of(target_folder / "copy"), "content of " + name);
        fs::remove(target_folder / "copy");
    }
    Publish("a", "not asked for");
    Publish("A.xml", "not asked for");
    for (const char* const name : {"a?b", "a#b", "a%", "a\\..\\..\\a", "%61"}) {
        EXPECT_FALSE(Copy(Samba_Server::Path(name), target_folder / "copy")) << name;
        EXPECT_TRUE(fs::is_empty(target_folder));
    }
}

TEST_F(Share_Files, CarryTheReadOnlyAttributeToTheCopy) {
    const auto published = Publish("fixed.xml", "fixed");
    fs::permissions(published, fs::perms(0444));
    Publish("open.xml", "open");

    EXPECT_EQ(Get_File_Attributes(Samba_Server::Path("fixed.xml")) & Attribute_Read_Only, Attribute_Read_Only);
    EXPECT_EQ(Get_File_Attributes(Samba_Server::Path("open.xml")) & Attribute_Read_Only, 0u);

    const auto fixed_copy = target_folder / "fixed";
    const auto open_copy = target_folder / "open";
    ASSERT_TRUE(Copy(Samba_Server::Path("fixed.xml"), fixed_copy));
    ASSERT_TRUE(Copy(Samba_Server::Path("open.xml"), open_copy));
    EXPECT_EQ(fs::status(fixed_copy).permissions(), fs::perms(0400));
    EXPECT_EQ(fs::status(open_copy).permissions(), fs::perms(0600));

    EXPECT_TRUE(os->Delete_File(fixed_copy.string()));
    EXPECT_FALSE(fs::exists(fixed_copy));
}

TEST_F(Share_Files, AreReadFromTheirBeginning) {
    Publish("document", "%PDF-1.7 and so on");

    EXPECT_EQ(Read_File_Head(Samba_Server::Path("document"), 8), "%PDF-1.7");
    EXPECT_EQ(Read_File_Head(Samba_Server::Path("document"), 1000), "%PDF-1.7 and so on");
    EXPECT_EQ(Read_File_Head(Samba_Server::Path("document"), 0), "");
    EXPECT_EQ(FrontEnd::Util::FileSystem::File_Length(Samba_Server::Path("document")), 18U);
    EXPECT_THROW(Read_File_Head(Samba_Server::Path("other"), 8), std::runtime_error);
}

TEST_F(Share_Files, AreReadByManyThreadsAtOnce) {
    constexpr int threads = 6;
    for (int number = 0; number < threads; ++number) {
        Publish(std::to_string(number), Rubbish(std::size_t{1000000} + static_cast<std::size_t>(number)));
    }

    std::vector<int> copied(threads, 0);
    In_Threads(threads, [&](int number) {
        for (int round = 0; round < 5; ++round) {
            const std::string name = std::to_string(number);
            std::int64_t time = 0;
            copied[static_cast<std::size_t>(number)] +=
                os->Stat_File(Samba_Server::Path(name), time) == 0 &&
                Copy(Samba_Server::Path(name), target_folder / name) &&
                Content_Of(target_folder / name) == Content_Of(server().Files() / name) &&
                os->Delete_File((target_folder / name).string());
        }
    });
    EXPECT_THAT(copied, testing::Each(5));
}

} // namespace

} // namespace QEL::Tests
