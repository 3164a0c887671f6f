#include "mime/Magic.h"
#include "mime/content_type.h"
#include "tests/support/Standard_Library.h"

#include <gtest/gtest.h>

namespace {

using QEL::Mime::Find_Mime_Type;
using QEL::Mime::Magic;

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

} // namespace
