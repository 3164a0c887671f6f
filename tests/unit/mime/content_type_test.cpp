#include "mime/Magic.h"
#include "mime/content_type.h"
#include "mime/extension_table.h"
#include "tests/support/Scratch_Directory.h"

#include <gmock/gmock.h>

namespace {

using QEL::Mime::Extension_Row;
using QEL::Mime::Extension_Rows;
using QEL::Mime::Find_Extension;
using QEL::Mime::Find_Mime_Type;
using QEL::Mime::Magic;
using QEL::Mime::Mime_Type;
using testing::HasSubstr;

/// Values as servers send them, and as they get mangled on the way; empty: they have no extension.
void Expect_Extension(const std::string& expected, const std::vector<std::string>& values) {
    Magic magic;
    magic.Read_From_Builtin_Resource();
    for (const std::string& value : values) {
        std::string extension;
        EXPECT_EQ(magic.Get_Extension_From_Mime_Type(value, extension), !expected.empty()) << value;
        EXPECT_EQ(extension, expected) << value;
    }
}

TEST(Content_Type, OfStaticFilesOfTheCommonWebServersAndItsVariants) {
    std::istringstream rows(
        "text/html .html  text/plain .txt  text/css .css  text/csv .csv  text/calendar .ics\n"
        "text/markdown .md  text/yaml .yaml  application/json .json  application/pdf .pdf\n"
        "application/zip .zip  application/gzip .gz  application/msword .doc  application/postscript .ps\n"
        "application/xhtml+xml .xhtml  application/rss+xml .rss  application/atom+xml .atom\n"
        "application/x-7z-compressed .7z  application/x-tar .tar  application/x-bzip2 .bz2\n"
        "application/vnd.ms-excel .xls  application/vnd.ms-powerpoint .ppt\n"
        "application/vnd.openxmlformats-officedocument.wordprocessingml.document .docx\n"
        "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet .xlsx\n"
        "application/vnd.openxmlformats-officedocument.presentationml.presentation .pptx\n"
        "application/vnd.oasis.opendocument.text .odt  image/png .png  image/jpeg .jpg  image/gif .gif\n"
        "image/bmp .bmp  image/svg+xml .svg  image/webp .webp  image/tiff .tif  audio/mpeg .mp3\n"
        "audio/x-wav .wav  audio/ogg .ogg  video/mp4 .mp4  video/mpeg .mpg  video/quicktime .mov\n"
        "video/x-msvideo .avi  font/woff2 .woff2  text/xml .xml  application/xml .xml  text/rtf .rtf\n"
        "application/rtf .rtf  image/x-icon .ico  image/vnd.microsoft.icon .ico\n"
        // registered nowhere
        "application/x-gzip .gz  application/x-zip-compressed .zip  application/x-pdf .pdf\n"
        "application/x-yaml .yaml  text/x-xml .xml  text/x-ini .ini  image/jpg .jpg  image/x-png .png\n"
        "application/x-json .json  text/json .json  application/csv .csv  text/comma-separated-values .csv\n"
        // without letter case
        "TEXT/HTML .html  Application/PDF .pdf  image/JPEG .jpg  tExT/pLaIn .txt  Text/Xml;Charset=UTF-8 .xml\n"
        // which the cache refuses
        "text/javascript .js  application/javascript .js  application/x-msdownload .exe\n"
        "application/x-msdos-program .exe  application/vnd.microsoft.portable-executable .exe\n");
    for (std::string value, extension; rows >> value >> extension;) {
        Expect_Extension(extension, {value});
    }
}

TEST(Content_Type, MayNameItsFormatByASuffix) {
    Expect_Extension(".xml", {"application/vnd.example.landscape+xml",
                              "application/soap+xml; charset=utf-8; action=\"urn:example\"",
                              "application/VND.Example+XML", "application/vnd.example+cbor+xml"});
    Expect_Extension(".json", {"application/vnd.api+json", "application/problem+json; charset=utf-8"});
    Expect_Extension(".zip", {"application/vnd.example+zip"});
    Expect_Extension(
        "", {"application/vnd.example+cbor", "application/vnd.example+", "application/vnd.example+xml+unknown"});
}

TEST(Content_Type, MayHaveParameters) {
    const std::pair<std::string, std::string> values[] = {
        {"text/csv; charset=utf-8; header=present", ".csv"},
        {"application/json; odata.metadata=minimal; odata.streaming=true; charset=utf-8", ".json"},
        {"application/pdf; name=\"landscape.xml\"", ".pdf"},
        {"multipart/form-data; boundary=----example", ""}};
    for (const auto& [value, extension] : values) {
        Expect_Extension(extension, {value});
    }
    Expect_Extension(".html", {"text/html; charset=utf-8", "text/html;charset=utf-8", "text/html;charset=UTF-8;"});
    Expect_Extension(".xml", {"text/xml; charset=\"utf-8\"", "text/xml; charset='utf-8'", "text/xml;charset=ISO-8859-1",
                              "application/xml; name=\"a;b, text/html.txt\""});
    Expect_Extension(".txt", {"text/plain; charset=us-ascii", "text/plain; charset=utf-8; format=flowed; delsp=yes"});
}

TEST(Content_Type, MayHaveSemicolonsBlanksAndQuotesOutOfPlace) {
    Expect_Extension(".html", {"text/html;", "text/html; ", "text/html;;", "text/html; ;charset=utf-8;",
                               "text/html ; charset=utf-8", "text/html\t;\tcharset=utf-8", "text/html;charset=gbk(",
                               "text/html;x=(;charset=gbk"});
    Expect_Extension(".xml",
                     {" text/xml", "text/xml  ", "\ttext/xml\r\n", "text / xml", "text/xml; charset",
                      "text/xml; charset=", "text/xml; =utf-8", "text/xml; charset =utf-8", "text/xml; charset=\"utf-8",
                      "text/xml; charset=utf-8\"", "text/xml; charset=\"\\\"", "text/xml; charset=\"utf-8\"x",
                      "text/xml;charset=gr\xFC\xDF"
                      "e"});
}

TEST(Content_Type, OfSeveralValuesIsTheLastGoodOne) {
    Expect_Extension(".xml",
                     {"text/html, text/xml", "text/html,text/xml", "text/html; charset=utf-8, text/xml; charset=utf-8",
                      "text/xml; a=\"b, text/html", "text/xml,", ",text/xml", "text/xml, ,", "text/xml, bogus",
                      "bogus, text/xml", "text/xml, text/", "text/xml, /xml", "text/xml, */*"});
    Expect_Extension(".html", {"text/xml, text/html"});
    Expect_Extension(
        ".json", {"text/xml; charset=\"a,b\", application/json", "text/xml; a=\"\\\", text/html\", application/json"});
    Expect_Extension("", {"text/xml, text/*", "text/xml, application/octet-stream"});
}

TEST(Content_Type, MayHaveNoExtension) {
    Expect_Extension("", {"application/octet-stream", "application/octet-stream; charset=binary", "binary/octet-stream",
                          "application/x-www-form-urlencoded", "application/unknown", "unknown/unknown",
                          "application/force-download", "text/unknown", "*/*", "*/plain"});
}

TEST(Content_Type, ThatIsNotATypeHasNoExtension) {
    std::istringstream values("| |;|,|; charset=utf-8|charset=utf-8|text|text/|/xml|/|text//xml|text/xml/|"
                              "text/xml charset=utf-8|te xt/xml|\"text/xml\"|'text/xml'|<text/xml>|text/xml(comment)|"
                              "text\\xml|text/x\xC3\xA4ml|xml|.xml");
    for (std::string value; std::getline(values, value, '|');) {
        Expect_Extension("", {value});
    }
}

TEST(Content_Type, MayHoldNulBehindItsTypeAndBeOfAnyLengthAndLetterCase) {
    EXPECT_FALSE(Find_Mime_Type(std::string("text/xml\0", 9)));
    EXPECT_FALSE(Find_Mime_Type(std::string("text\0/xml", 9)));
    EXPECT_TRUE(Find_Mime_Type(std::string("text/xml;\0", 10)));
    const std::string name(1000, 'X');
    const std::string content_type = name + "/" + name + "; charset=utf-8";
    const auto mime_type = Find_Mime_Type(content_type);
    ASSERT_TRUE(mime_type);
    EXPECT_EQ(mime_type->type, name);
    EXPECT_EQ(mime_type->subtype, name);
}

TEST(Content_Type, ConsistsOfTokenCharacters) {
    const std::string others = "!#$%&'*+-.^_`|~";
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool letter_or_digit = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        const bool token = letter_or_digit || others.find(c) != std::string::npos;
        if (c != ',' && c != ';' && c != '/' && c != '"') {
            EXPECT_EQ(Find_Mime_Type("x" + std::string(1, c) + "x/xml").has_value(), token) << byte;
            EXPECT_EQ(Find_Mime_Type("text/x" + std::string(1, c) + "x").has_value(), token) << byte;
        }
    }
}

Mime_Type Halves(std::string_view mime_type) {
    const auto slash = mime_type.find('/');
    return {mime_type.substr(0, slash), mime_type.substr(slash + 1)};
}

std::string Upper_Case(std::string_view text) {
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

TEST(Extension_Table, HasTheTypesOfMimeDbAndFindsEachRowInAnyLetterCase) {
    EXPECT_GT(Extension_Rows().size(), 900U);
    for (const Extension_Row& row : Extension_Rows()) {
        EXPECT_EQ(Find_Extension(Halves(row.mime_type)), row.extension) << row.mime_type;
        EXPECT_EQ(Find_Extension(Halves(Upper_Case(row.mime_type))), row.extension) << row.mime_type;
    }
}

TEST(Extension_Table, FindsNothingBesideItsRows) {
    for (const Extension_Row& row : Extension_Rows()) {
        const std::string longer = std::string(row.mime_type) + "\x7F";
        EXPECT_EQ(Find_Extension(Halves(longer)), "") << longer;
    }
    EXPECT_EQ(Find_Extension({"a", "a"}), "");
    EXPECT_EQ(Find_Extension({"zzz", "zzz"}), "");
    EXPECT_EQ(Find_Extension({"", ""}), "");
    EXPECT_EQ(Find_Extension({std::string(1000, 'x'), "xml"}), "");
}

TEST(Extension_Table, HasNoExtensionThatWindowsRunsOrInstalls) {
    for (const char* const mime_type :
         {"application/octet-stream", "application/x-ms-shortcut", "application/x-ms-application",
          "application/appinstaller", "application/appx", "application/msix", "application/vnd.ms-htmlhelp",
          "application/java-archive", "application/x-java-jnlp-file", "application/x-x509-ca-cert",
          "application/x-iso9660-image"}) {
        EXPECT_EQ(Find_Extension(Halves(mime_type)), "") << mime_type;
    }
    for (const Extension_Row& row : Extension_Rows()) {
        for (const std::string_view refused :
             {".lnk", ".cpl", ".application", ".appinstaller", ".appx", ".msix", ".chm", ".jar", ".jnlp", ".hta",
              ".url", ".scf", ".msi",         ".msp",          ".scr",  ".pif",  ".ps1", ".reg", ".iso",  ".xll"}) {
            EXPECT_NE(row.extension, refused) << row.mime_type;
        }
    }
}

TEST(Extension_Table, HasPlainExtensionsOnly) {
    // An extension becomes the end of a path.
    for (const Extension_Row& row : Extension_Rows()) {
        ASSERT_GE(row.extension.size(), 2U) << row.mime_type;
        EXPECT_EQ(row.extension.front(), '.') << row.mime_type;
        for (const char c : row.extension.substr(1)) {
            EXPECT_TRUE((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_') << row.extension;
        }
    }
}

constexpr char Xml_Text[] = "<?xml version=\"1.0\"?><Landscape/>";

std::string Type_Of(const Magic& magic, const std::string& contents) {
    return magic.Get_Mime_Type_For_Data(contents.data(), contents.size());
}

/// Whether the object has the tables, by everything it can be asked.
void Expect_Loaded(const Magic& magic, bool loaded) {
    std::string extension = "left over";
    EXPECT_EQ(magic.Is_Initialized(), loaded);
    EXPECT_EQ(Type_Of(magic, Xml_Text), loaded ? "text/xml" : "");
    EXPECT_EQ(magic.Get_Extension_From_Mime_Type("text/xml", extension), loaded);
    EXPECT_EQ(extension, loaded ? ".xml" : "");
}

Magic Loaded_Magic() {
    Magic magic;
    magic.Read_From_Builtin_Resource();
    return magic;
}

TEST(Magic, KnowsTypesAndExtensionsOnceItsTablesAreLoaded) {
    Magic magic;
    Expect_Loaded(magic, false);
    for (int time = 0; time < 2; ++time) {
        magic.Read_From_Builtin_Resource();
        Expect_Loaded(magic, true);
    }
}

TEST(Magic, CopiesAreIndependent) {
    Magic original;
    Magic copy = original;
    original.Read_From_Builtin_Resource();
    Expect_Loaded(original, true);
    Expect_Loaded(copy, false);

    copy = original;
    original = Magic();
    Expect_Loaded(original, false);
    Expect_Loaded(copy, true);
}

TEST(Magic, MovedFromObjectAnswersLikeAnEmptyOne) {
    Magic original = Loaded_Magic();
    Magic constructed = std::move(original);
    Expect_Loaded(constructed, true);
    Expect_Loaded(original, false); // NOLINT(bugprone-use-after-move): the state is documented

    Magic assigned;
    assigned = std::move(constructed);
    Expect_Loaded(assigned, true);
    Expect_Loaded(constructed, false); // NOLINT(bugprone-use-after-move)
}

TEST(Magic, ExtensionMayReplaceTheTypeItselfAndIsEmptyWhereItIsMissing) {
    std::string text = "TEXT/XML; charset=utf-8";
    EXPECT_TRUE(Loaded_Magic().Get_Extension_From_Mime_Type(text, text));
    EXPECT_EQ(text, ".xml");
    EXPECT_FALSE(Loaded_Magic().Get_Extension_From_Mime_Type("no/such-type", text));
    EXPECT_EQ(text, "");
}

TEST(Magic, DataOfNoLengthHasNoType) {
    EXPECT_EQ(Loaded_Magic().Get_Mime_Type_For_Data(nullptr, 0), "");
    EXPECT_EQ(Loaded_Magic().Get_Mime_Type_For_Data("", 0), "");
}

class Magic_File : public testing::Test {
protected:
    std::string Type_Of_File(const std::string& contents) const {
        return magic.Get_Mime_Type_For_File(scratch.Write("file", contents));
    }

    const QEL::Tests::Scratch_Directory scratch;
    const Magic magic = Loaded_Magic();
};

TEST_F(Magic_File, IsTypedByItsContents) {
    EXPECT_EQ(Type_Of_File(Xml_Text), "text/xml");
    EXPECT_EQ(Type_Of_File(""), "");
}

TEST_F(Magic_File, CountsUpToItsFirst1445Bytes) {
    EXPECT_EQ(Type_Of_File(std::string(1444, 'a') + '\0'), "");
    EXPECT_EQ(Type_Of_File(std::string(1445, 'a') + '\0'), "text/plain");
}

TEST_F(Magic_File, UnreadableThrowsWithPathAndReasonWhetherTheTablesAreLoadedOrNot) {
    const std::string path = scratch / "missing";
    for (const Magic& asked : {magic, Magic()}) {
        try {
            asked.Get_Mime_Type_For_File(path);
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(path));
            EXPECT_THAT(error.what(), HasSubstr(std::generic_category().message(ENOENT)));
        }
    }
}

} // namespace
