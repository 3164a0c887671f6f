#include "mime/Magic.h"
#include "mime/content_type.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using QEL::Mime::Find_Mime_Type;
using QEL::Mime::Magic;

struct Content_Type_Case {
    std::string value;
    /// Empty when the value has none.
    std::string extension;
};

/// Values as servers send them, and as they get mangled on the way.
const std::vector<Content_Type_Case> Cases = {
    // Static files of the common web servers
    {"text/html", ".html"},
    {"text/plain", ".txt"},
    {"text/xml", ".xml"},
    {"text/css", ".css"},
    {"text/csv", ".csv"},
    {"text/calendar", ".ics"},
    {"text/markdown", ".md"},
    {"text/rtf", ".rtf"},
    {"text/yaml", ".yaml"},
    {"application/xml", ".xml"},
    {"application/json", ".json"},
    {"application/pdf", ".pdf"},
    {"application/zip", ".zip"},
    {"application/gzip", ".gz"},
    {"application/rtf", ".rtf"},
    {"application/msword", ".doc"},
    {"application/postscript", ".ps"},
    {"application/xhtml+xml", ".xhtml"},
    {"application/rss+xml", ".rss"},
    {"application/atom+xml", ".atom"},
    {"application/x-7z-compressed", ".7z"},
    {"application/x-tar", ".tar"},
    {"application/x-bzip2", ".bz2"},
    {"application/vnd.ms-excel", ".xls"},
    {"application/vnd.ms-powerpoint", ".ppt"},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", ".docx"},
    {"application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", ".xlsx"},
    {"application/vnd.openxmlformats-officedocument.presentationml.presentation", ".pptx"},
    {"application/vnd.oasis.opendocument.text", ".odt"},
    {"image/png", ".png"},
    {"image/jpeg", ".jpg"},
    {"image/gif", ".gif"},
    {"image/bmp", ".bmp"},
    {"image/svg+xml", ".svg"},
    {"image/x-icon", ".ico"},
    {"image/vnd.microsoft.icon", ".ico"},
    {"image/webp", ".webp"},
    {"image/tiff", ".tif"},
    {"audio/mpeg", ".mp3"},
    {"audio/x-wav", ".wav"},
    {"audio/ogg", ".ogg"},
    {"video/mp4", ".mp4"},
    {"video/mpeg", ".mpg"},
    {"video/quicktime", ".mov"},
    {"video/x-msvideo", ".avi"},
    {"font/woff2", ".woff2"},

    // Names that are registered nowhere
    {"application/x-gzip", ".gz"},
    {"application/x-zip-compressed", ".zip"},
    {"application/x-pdf", ".pdf"},
    {"application/x-json", ".json"},
    {"application/x-yaml", ".yaml"},
    {"application/csv", ".csv"},
    {"text/comma-separated-values", ".csv"},
    {"text/json", ".json"},
    {"text/x-xml", ".xml"},
    {"text/x-ini", ".ini"},
    {"image/jpg", ".jpg"},
    {"image/x-png", ".png"},

    // Formats named by a suffix
    {"application/vnd.example.landscape+xml", ".xml"},
    {"application/vnd.api+json", ".json"},
    {"application/problem+json; charset=utf-8", ".json"},
    {"application/soap+xml; charset=utf-8; action=\"urn:example\"", ".xml"},
    {"application/VND.Example+XML", ".xml"},
    {"application/vnd.example+zip", ".zip"},
    {"application/vnd.example+cbor+xml", ".xml"},
    {"application/vnd.example+cbor", ""},
    {"application/vnd.example+", ""},
    {"application/vnd.example+xml+unknown", ""},

    // Parameters
    {"text/html; charset=utf-8", ".html"},
    {"text/html;charset=utf-8", ".html"},
    {"text/html;charset=UTF-8;", ".html"},
    {"text/xml; charset=\"utf-8\"", ".xml"},
    {"text/xml; charset='utf-8'", ".xml"},
    {"text/xml;charset=ISO-8859-1", ".xml"},
    {"text/plain; charset=us-ascii", ".txt"},
    {"text/plain; charset=utf-8; format=flowed; delsp=yes", ".txt"},
    {"text/csv; charset=utf-8; header=present", ".csv"},
    {"application/json; odata.metadata=minimal; odata.streaming=true; charset=utf-8", ".json"},
    {"application/pdf; name=\"landscape.xml\"", ".pdf"},
    {"application/xml; name=\"a;b, text/html.txt\"", ".xml"},
    {"multipart/form-data; boundary=----example", ""},

    // Semicolons, blanks and quotes out of place
    {"text/html;", ".html"},
    {"text/html; ", ".html"},
    {"text/html;;", ".html"},
    {"text/html; ;charset=utf-8;", ".html"},
    {"text/html ; charset=utf-8", ".html"},
    {"text/html\t;\tcharset=utf-8", ".html"},
    {" text/xml", ".xml"},
    {"text/xml  ", ".xml"},
    {"\ttext/xml\r\n", ".xml"},
    {"text / xml", ".xml"},
    {"text/xml; charset", ".xml"},
    {"text/xml; charset=", ".xml"},
    {"text/xml; =utf-8", ".xml"},
    {"text/xml; charset =utf-8", ".xml"},
    {"text/xml; charset=\"utf-8", ".xml"},
    {"text/xml; charset=utf-8\"", ".xml"},
    {"text/xml; charset=\"\\\"", ".xml"},
    {"text/xml; charset=\"utf-8\"x", ".xml"},
    {"text/xml;charset=gr\xFC\xDF"
     "e",
     ".xml"},
    {"text/html;charset=gbk(", ".html"},
    {"text/html;x=(;charset=gbk", ".html"},

    // Letter case
    {"TEXT/HTML", ".html"},
    {"Text/Xml; Charset=UTF-8", ".xml"},
    {"Application/PDF", ".pdf"},
    {"image/JPEG", ".jpg"},
    {"tExT/pLaIn", ".txt"},

    // Several values: the last good one
    {"text/html, text/xml", ".xml"},
    {"text/xml, text/html", ".html"},
    {"text/html,text/xml", ".xml"},
    {"text/html; charset=utf-8, text/xml; charset=utf-8", ".xml"},
    {"text/xml; charset=\"a,b\", application/json", ".json"},
    {"text/xml; a=\"b, text/html", ".xml"},
    {"text/xml; a=\"\\\", text/html\", application/json", ".json"},
    {"text/xml,", ".xml"},
    {",text/xml", ".xml"},
    {"text/xml, ,", ".xml"},
    {"text/xml, bogus", ".xml"},
    {"bogus, text/xml", ".xml"},
    {"text/xml, text/", ".xml"},
    {"text/xml, /xml", ".xml"},
    {"text/xml, */*", ".xml"},
    {"text/xml, text/*", ""},
    {"text/xml, application/octet-stream", ""},

    // Scripts and programs: their own extension, which the cache refuses
    {"text/javascript", ".js"},
    {"application/javascript; charset=utf-8", ".js"},
    {"application/x-msdownload", ".exe"},
    {"application/x-msdos-program", ".exe"},
    {"application/vnd.microsoft.portable-executable", ".exe"},

    // No extension
    {"application/octet-stream", ""},
    {"application/octet-stream; charset=binary", ""},
    {"binary/octet-stream", ""},
    {"application/x-www-form-urlencoded", ""},
    {"application/unknown", ""},
    {"unknown/unknown", ""},
    {"application/force-download", ""},
    {"text/unknown", ""},
    {"*/*", ""},
    {"*/plain", ""},

    // No type
    {"", ""},
    {" ", ""},
    {";", ""},
    {",", ""},
    {"; charset=utf-8", ""},
    {"charset=utf-8", ""},
    {"text", ""},
    {"text/", ""},
    {"/xml", ""},
    {"/", ""},
    {"text//xml", ""},
    {"text/xml/", ""},
    {"text/xml charset=utf-8", ""},
    {"te xt/xml", ""},
    {"\"text/xml\"", ""},
    {"'text/xml'", ""},
    {"<text/xml>", ""},
    {"text/xml(comment)", ""},
    {"text\\xml", ""},
    {"text/x\xC3\xA4ml", ""},
    {"xml", ""},
    {".xml", ""},
};

TEST(Content_Type, GivesTheExtension) {
    EXPECT_GE(Cases.size(), 100U);
    Magic magic;
    magic.Read_From_Builtin_Resource();
    for (const auto& [value, expected] : Cases) {
        std::string extension;
        EXPECT_EQ(magic.Get_Extension_From_Mime_Type(value, extension), !expected.empty()) << value;
        EXPECT_EQ(extension, expected) << value;
    }
}

TEST(Content_Type, MayHoldNul) {
    EXPECT_FALSE(Find_Mime_Type(std::string("text/xml\0", 9)));
    EXPECT_FALSE(Find_Mime_Type(std::string("text\0/xml", 9)));
    EXPECT_TRUE(Find_Mime_Type(std::string("text/xml;\0", 10)));
}

TEST(Content_Type, MayBeOfAnyLength) {
    const std::string name(1000, 'x');
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

TEST(Content_Type, KeepsItsLetterCase) {
    const auto mime_type = Find_Mime_Type("Text/XML; a=b");
    ASSERT_TRUE(mime_type);
    EXPECT_EQ(mime_type->type, "Text");
    EXPECT_EQ(mime_type->subtype, "XML");
}

} // namespace
