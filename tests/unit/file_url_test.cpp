#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using testing::IsEmpty;

namespace {

class File_Url : public Cache_Fixture {
protected:
    static constexpr const char* method = "Normalize_if_File_URL";

    static Records Begin(const std::string& url, bool is_file_url) {
        return Call(method, "url='" + url + "'") + Kind_Test("Is_File_URL", url, is_file_url);
    }
};

TEST_F(File_Url, ThreeSlashesLeaveThePathBehindThem) {
    const std::string url = "file:///C:/data/landscape.xml";
    EXPECT_EQ(cache.Normalize_if_File_URL(url), "C:\\data\\landscape.xml");
    EXPECT_EQ(All(), Begin(url, true) + Data(method, "File URL with network share detected: '" + url + "'.\n") +
                         Data(method, "rtn = 'C:/data/landscape.xml'.\n") +
                         Return(method, "rtn = C:\\data\\landscape.xml"));
    EXPECT_THAT(os->calls, IsEmpty());
}

TEST_F(File_Url, TwoSlashesBecomeAUncPath) {
    const std::string url = "file://server/share/landscape.xml";
    EXPECT_EQ(cache.Normalize_if_File_URL(url), "\\\\server\\share\\landscape.xml");
    EXPECT_EQ(All(), Begin(url, true) + Data(method, "File URL with local file detected: '" + url + "'.\n") +
                         Data(method, "rtn = '//server/share/landscape.xml'.\n") +
                         Return(method, "rtn = \\\\server\\share\\landscape.xml"));
}

TEST_F(File_Url, OtherFormsAreNotSupported) {
    for (const char* const form : {"file:", "file:/", "file:C:/x.xml", "file:/C:/x.xml", "file:\\\\server\\share",
                                   "file:/\\server\\share", "file:x//server/share"}) {
        const std::string url = form;
        Recorded_Trace::Forget();
        EXPECT_EQ(cache.Normalize_if_File_URL(url), "") << url;
        EXPECT_EQ(All(), Begin(url, true) + Bug() +
                             Error(method, "Unsupported file URL format unexpected at this time: '" + url + "'.\n") +
                             Return(method, "''"));
    }
}

TEST_F(File_Url, AnyOtherTextComesBackUnchanged) {
    for (const char* const text :
         {"", "http://server/a/b.xml", "https://server/a/b.xml", "\\\\server\\share\\file.xml", "C:/data/file.xml",
          "FILE:///C:/x.xml", "File://server/share", "file", "fil", "relative/file.xml", "ftp://server/file"}) {
        const std::string url = text;
        Recorded_Trace::Forget();
        EXPECT_EQ(cache.Normalize_if_File_URL(url), url);
        EXPECT_EQ(All(), Begin(url, false) + Data(method, "Not file URL '" + url + "'. Will not be normalized.\n") +
                             Return(method, url));
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
