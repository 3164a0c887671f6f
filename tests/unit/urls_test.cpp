#include "tests/unit/support/Cache_Fixture.h"

using namespace testing;

namespace {

class Url_Kinds : public Cache_Fixture {};

TEST_F(Url_Kinds, FollowTheBeginningInLowerCaseAndTwoBackslashes) {
    const std::pair<std::string, std::vector<const char*>> kinds[] = {
        {"inet", {"http://server/file.xml", "https://server/file.xml", "http:", "https:", "http:anything", "https:/"}},
        {"file", {"file:///C:/file.xml", "file://server/share/file.xml", "file:", "file:C:\\file.xml"}},
        {"share", {"\\\\server\\share\\file.xml", "\\\\", "\\\\\\", "\\\\?\\C:\\file.xml", "\\\\server\\http:"}},
        {"none",
         {"",
          "h",
          "http",
          "https",
          "HTTP://server/file.xml",
          "Http://server/file.xml",
          "httpS://server/file.xml",
          "ftp://server/file.xml",
          "ftp:",
          " http://server/file.xml",
          "xhttp://server/file.xml",
          "httpx://server/file.xml",
          "C:\\http:\\file.xml",
          "f",
          "file",
          "FILE:///C:/file.xml",
          "File:///C:/file.xml",
          " file:///C:/file.xml",
          "files:///C:/file.xml",
          "C:\\file:\\file.xml",
          "\\",
          "\\share\\file.xml",
          "//server/share/file.xml",
          "\\/server/share",
          "/\\server\\share",
          "relative\\file.xml"}}};
    for (const auto& [kind, urls] : kinds) {
        for (const char* const url : urls) {
            Forget();
            EXPECT_EQ(cache.Is_Inet_URL(url), kind == "inet") << url;
            EXPECT_EQ(cache.Is_File_URL(url), kind == "file") << url;
            EXPECT_THAT(os->calls, IsEmpty());
            EXPECT_EQ(cache.Is_File_Share(url), kind == "share") << url;
            EXPECT_EQ(os->Calls_Of("Get_Drive_Number"), kind == "share" ? 0U : 1U) << url;
        }
    }
}

TEST_F(Url_Kinds, OnlyTheNumbers0To25AreDrives) {
    os->on_get_drive_type = [](const std::string&) { return 4U; };
    for (const int number :
         {-1, 26, 27, 255, 256, 1000, -26, -256, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        os->on_get_drive_number = [&](const std::string&) { return number; };
        EXPECT_FALSE(cache.Is_File_Share("D:\\file.xml")) << number;
    }
    EXPECT_EQ(os->Calls_Of("Get_Drive_Type"), 0U);

    for (int number = 0; number < 26; ++number) {
        os->on_get_drive_number = [&](const std::string&) { return number; };
        Forget();
        EXPECT_TRUE(cache.Is_File_Share("text")) << number;
        const std::string root = {static_cast<char>('A' + number), ':'};
        EXPECT_THAT(os->calls, ElementsAre("Get_Drive_Number(text)", "Get_Drive_Type(" + root + ")"));
    }
}

TEST_F(Url_Kinds, AnyDriveButAFixedDiskIsAShare) {
    unsigned int type = 0;
    os->on_get_drive_type = [&](const std::string&) { return type; };
    for (const unsigned int share_type : {0U, 1U, 2U, 4U, 5U, 6U, 7U, 0x103U, 0xFFFFFFFFU}) {
        type = share_type;
        EXPECT_TRUE(cache.Is_File_Share("C:\\data\\file.xml")) << share_type;
    }
    type = 3;
    EXPECT_FALSE(cache.Is_File_Share("C:\\data\\file.xml"));
}

TEST_F(Url_Kinds, LocalIsWhatIsNeitherAnInternetOrFileUrlNorAShare) {
    os->on_get_drive_type = [](const std::string& root) { return root == "N:" ? 4U : 3U; };
    for (const auto& [url, kind] : {std::pair<std::string, std::string>{"https://server/file.xml", "inet"},
                                    {"\\\\server\\share\\file.xml", "share"},
                                    {"N:\\file.xml", "share"},
                                    {"", "path"},
                                    {"C:\\data\\file.xml", "path"},
                                    {"relative\\file.xml", "path"},
                                    {"//server/share/file.xml", "path"},
                                    {"HTTP://server/file.xml", "path"},
                                    {"FILE:///C:/file.xml", "path"},
                                    {"ftp://server/file.xml", "path"},
                                    {"http", "path"},
                                    {"C:\\100%s%n%d", "path"}}) {
        Forget();
        values["url"] = url;
        EXPECT_EQ(cache.Is_Local(url), kind == "path") << url;
        Expect_Records("= is_local_" + kind);
    }
    Forget();
    values["url"] = "file://server/share/file.xml";
    EXPECT_FALSE(cache.Is_Local(values["url"]));
    Expect_Records("= is_local_path < Is_File_URL\n= kind_test test=Is_File_URL result=true\n"
                   "D Is_Local: return value:(false)");
    EXPECT_THAT(os->calls, IsEmpty());
    EXPECT_FALSE(cache.Is_File_Share(values["url"]));
}

class File_Url : public Cache_Fixture {
protected:
    /// What becomes of a URL, and the records behind the test of its kind.
    void Expect(const std::string& url, const std::string& path, const std::string& kind, const std::string& records) {
        Forget();
        values["url"] = url;
        values["path"] = path;
        EXPECT_EQ(cache.Normalize_if_File_URL(url), path);
        Expect_Records("= not_normalized < Is_File_URL\n= kind_test test=Is_File_URL result=" + kind + "\n" + records);
    }
};

TEST_F(File_Url, ThreeSlashesLeaveThePathBehindThemAndTwoBecomeAUncPath) {
    Expect("file:///C:/data/landscape.xml", "C:\\data\\landscape.xml", "true", R"(
        D Normalize_if_File_URL: File URL with network share detected: '{url}'.
        D Normalize_if_File_URL: rtn = 'C:/data/landscape.xml'.
        D Normalize_if_File_URL: return value:(rtn = {path}))");
    Expect("file://server/share/landscape.xml", "\\\\server\\share\\landscape.xml", "true", R"(
        D Normalize_if_File_URL: File URL with local file detected: '{url}'.
        D Normalize_if_File_URL: rtn = '//server/share/landscape.xml'.
        D Normalize_if_File_URL: return value:(rtn = {path}))");
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(File_Url, OtherFormsAreNotSupported) {
    for (const char* const url : {"file:", "file:/", "file:C:/x.xml", "file:/C:/x.xml", "file:\\\\server\\share",
                                  "file:/\\server\\share", "file:x//server/share"}) {
        Expect(url, "", "true", R"(
            D ---- BUG ----
            E Normalize_if_File_URL: Unsupported file URL format unexpected at this time: '{url}'.
            D Normalize_if_File_URL: return value:(''))");
    }
}

TEST_F(File_Url, AnyOtherTextComesBackUnchanged) {
    for (const char* const text :
         {"", "http://server/a/b.xml", "https://server/a/b.xml", "\\\\server\\share\\file.xml", "C:/data/file.xml",
          "FILE:///C:/x.xml", "File://server/share", "file", "fil", "relative/file.xml", "ftp://server/file"}) {
        Expect(text, text, "false", R"(
            D Normalize_if_File_URL: Not file URL '{url}'. Will not be normalized.
            D Normalize_if_File_URL: return value:({url}))");
    }
}

TEST_F(File_Url, NothingButTheSlashesIsConverted) {
    EXPECT_EQ(cache.Normalize_if_File_URL("file:////server/share/x.xml"), "\\server\\share\\x.xml");
    EXPECT_EQ(cache.Normalize_if_File_URL("file://///server/share/x.xml"), "\\\\server\\share\\x.xml");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///"), "");
    EXPECT_EQ(cache.Normalize_if_File_URL("file://"), "\\\\");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///C:/My%20Files/a.xml"), "C:\\My%20Files\\a.xml");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///C:/a/./b/../c.xml"), "C:\\a\\.\\b\\..\\c.xml");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///C:\\a/b\\c.xml"), "C:\\a\\b\\c.xml");
    EXPECT_EQ(cache.Normalize_if_File_URL("file://user@host:80/a?b#c "), "\\\\user@host:80\\a?b#c ");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///C:/a//b/"), "C:\\a\\\\b\\");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///file:///x"), "file:\\\\\\x");
    EXPECT_EQ(cache.Normalize_if_File_URL("file:///C:/\xC3\xA4.xml"), "C:\\\xC3\xA4.xml");
}

} // namespace
