#include "tests/unit/support/Cache_Fixture.h"

using testing::IsEmpty;

namespace {

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
