// Text that sniffing tells apart where the standard says just text: XML without declaration, JSON,
// INI and RTF; and ZIP archives by their family.

#include "mime/sniffing/sniff.h"
#include "tests/unit/mime/support/Sample_Files.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;
using QEL::Mime::Sniffing::Sniff_Mime_Type;
using QEL::Mime::Sniffing::Sniffed_Length;

/// Text so long that the head is cut.
std::string Lengthened(std::string text, const std::string& line) {
    while (text.size() <= Sniffed_Length) {
        text += line;
    }
    return text;
}

TEST(Xml, NeedsNoDeclaration) {
    for (const std::string text : {
             "<x/>",
             "<x></x>",
             "  \r\n<x>text</x>\r\n",
             "<x >text</x >",
             "<x b='1' c=\"2\" d = '>'>text</x>",
             "<x\n  b='1'\n/>",
             "<n:a xmlns:n='urn:n'/>",
             "<_a.b-c1/>",
             "<\xC3\xA4rger>text</\xC3\xA4rger>",
             "<!-- comment --><x/>",
             "<!--comment--><!-- more -->\n<x/>",
             "<?xml-stylesheet href='a.xsl'?><x/>",
             "<!DOCTYPE x [<!ELEMENT x EMPTY>]><x/>",
             "<!DOCTYPE x>\n<x/>",
             "<!DOCTYPE x[<!ELEMENT x EMPTY>]><x/>",
             "<Body2/>",
             "<section>text</section>",
         }) {
        EXPECT_EQ(Sniff_Mime_Type(text), "text/xml") << text;
    }
}

TEST(Xml, WithoutDeclarationIsWellFormed) {
    for (const std::string text : {
             "<",
             "<x",
             "<x>",
             "<x>text",
             "<x>text</b>",
             "<x>text<x>",
             "<x>text</x> and more",
             "<x b='1'",
             "<x b='1' c=",
             "<x/> and more",
             "<x b>text</x>",
             "<x b=1>text</x>",
             "<x b='1>text</x>",
             "<x b='1'c='2'>text</x>",
             "<x / >",
             "<1a/>",
             "< a/>",
             "<x@example.com>",
             "<!DOCTYPE>",
             "<!DOCTYPEx>",
             "<!doctype x><x/>",
             "<!ELEMENT x>",
             "<?php echo 1 ?>",
             "a <x/>",
             "</x>",
         }) {
        EXPECT_NE(Sniff_Mime_Type(text), "text/xml") << text;
    }
}

TEST(Xml, MayGoOnBehindTheHead) {
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<root>", "<item/>\n")), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<root", " attribute='value'")), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<root a='1' b='", "long value ")), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<root a='1' wrong ", "text > text ")), "text/plain");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<root ", "no attribute ")), "text/plain");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<root/>", "text")), "text/plain");
}

TEST(Xml, RootThatIsAnHtmlElementIsNone) {
    // The standard takes them for HTML, but not with a line end behind the name.
    for (const std::string text : {"<html\n>text</html>", "<P\n/>", "<!DOCTYPE html\n><x/>", "<!--\n--><html/>"}) {
        EXPECT_EQ(Sniff_Mime_Type(text), "text/plain") << text;
    }
}

TEST(Xml, DecidesAboutACommentAtTheBeginning) {
    EXPECT_EQ(Sniff_Mime_Type("<!-- comment --><root/>"), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type("<!-- comment --><html><body/></html>"), "text/html");
    EXPECT_EQ(Sniff_Mime_Type("<!-- comment -->"), "text/html");
    EXPECT_EQ(Sniff_Mime_Type("<!-- comment --> text"), "text/html");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("<!-- ", "long comment ")), "text/html");
}

TEST(Xml, DeclaredIsXmlWhateverFollows) {
    EXPECT_EQ(Sniff_Mime_Type("<?xml version='1.0'?>\nno XML at all"), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type("<?xml version='1.0'?><html xmlns='http://www.w3.org/1999/xhtml'/>"), "text/xml");
}

TEST(Svg, IsXmlWithItsRoot) {
    EXPECT_EQ(Sniff_Mime_Type("<svg/>"), "image/svg+xml");
    EXPECT_EQ(Sniff_Mime_Type("<s:svg xmlns:s='http://www.w3.org/2000/svg'></s:svg>"), "image/svg+xml");
    EXPECT_EQ(Sniff_Mime_Type("<?xml version='1.0'?><!-- comment --><svg/>"), "image/svg+xml");
    EXPECT_EQ(Sniff_Mime_Type("<!DOCTYPE svg PUBLIC '-//W3C//DTD SVG 1.1//EN' 'svg11.dtd'><svg/>"), "image/svg+xml");
    EXPECT_EQ(Sniff_Mime_Type("<svgs/>"), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type("<svg"), "text/plain");
}

TEST(Json, IsAnObjectOrAnArray) {
    for (const std::string text : {
             "{}",
             "[]",
             " \r\n\t[ ]\n",
             "{\"a\":1}",
             "{\"a\": {\"b\": [true, false, null]}, \"c\": \"d\"}",
             "[1, -2, 3.5, 1e10, -1.5E-3, 1e+2]",
             R"(["quote \" and backslash \\", "\\\""])",
             "[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]",
             "{\"\": \"\"}",
             "[\"\xC3\xA4\"]",
         }) {
        EXPECT_EQ(Sniff_Mime_Type(text), "application/json") << text;
    }
}

TEST(Json, ObeysItsGrammar) {
    for (const std::string text : {
             "{",         "[",         "{\"a\"", "{\"a\":", "{\"a\":1",     "{\"a\":1,", "{\"a\":1,}", "{\"a\" 1}",
             "{\"a\",1}", "{a:1}",     "{1:1}",  "{'a':1}", "{]",           "[}",        "[1",         "[1,",
             "[1,]",      "[1 2]",     "[1:2]",  "[a]",     "[True]",       "[-]",       "[--1]",      "[1a]",
             "[\"a]",     R"(["a\"])", "{} {}",  "[] text", "[1] Footnote", "{{name}}",  "{\"a\":1}}", "1",
             "true",      "\"text\"",
         }) {
        EXPECT_EQ(Sniff_Mime_Type(text), "text/plain") << text;
    }
}

TEST(Json, IsKnownByItsFirst16Tokens) {
    EXPECT_EQ(Sniff_Mime_Type("[1,2,3,4,5,6,7,8 no JSON"), "application/json");
    EXPECT_EQ(Sniff_Mime_Type("[1,2,3,4,5,6,7, no JSON"), "text/plain");
}

TEST(Json, MayGoOnBehindTheHead) {
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("[", "{\"a\": 1},\n")), "application/json");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("[\"", "long string ")), "application/json");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("[1,", "         ")), "application/json");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("[1]", "         ")), "application/json");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("[1 ", "text     ")), "text/plain");
    EXPECT_EQ(Sniff_Mime_Type(Lengthened("", "         ")), "text/plain");
}

TEST(Ini, IsASectionWithAnEntry) {
    for (const std::string text : {
             "[a]\nb=c",
             "[a]\r\nb=c\r\n",
             "[a]\nb=",
             "[a]\nb = c = d\n",
             "\n\n  [a]\n\n  b=c\n",
             "; comment\n[a]\n# comment\nb=c\n",
             "[a] ; comment\nb=c\n",
             "[ a b ]\nb=c\n",
             "[a]\n[b]\n",
             "[1]\nb=c\n",
             "[\"a\"]\nb=c\n",
             "[a]\nb=c\nwhatever follows\n",
         }) {
        EXPECT_EQ(Sniff_Mime_Type(text), "text/x-ini") << text;
    }
}

TEST(Ini, IsNothingLess) {
    for (const std::string text : {
             "[a]",
             "[a]\n",
             "[a]\n; comment\n",
             "[a]\nb\n",
             "[a]\n=c\n",
             "[a\nb=c\n",
             "[]\nb=c\n",
             "[ ]\nb=c\n",
             "[a] b\nc=d\n",
             "a=b\n[a]\nb=c\n",
             "a=b\n",
             "; comment\n",
             "[link] and text\n",
             "text [a]\nb=c\n",
         }) {
        EXPECT_EQ(Sniff_Mime_Type(text), "text/plain") << text;
    }
}

TEST(Ini, IsNoScript) {
    // Registry files and batch files stay text: their own extensions would run them.
    EXPECT_EQ(Sniff_Mime_Type("REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n\"a\"=\"b\"\r\n"), "text/plain");
    EXPECT_EQ(Sniff_Mime_Type("@echo off\r\nset a=b\r\n"), "text/plain");
}

TEST(Text_Formats, AreKnownInEveryUnicodeEncoding) {
    const struct {
        std::string text;
        std::string mime_type;
    } cases[] = {
        {"<?xml version='1.0'?><a/>", "text/xml"},
        {"<x/>", "text/xml"},
        {"<!DOCTYPE html><html></html>", "text/html"},
        {"{\"a\": 1}", "application/json"},
        {"[a]\r\nb=c\r\n", "text/x-ini"},
        {"text", "text/plain"},
    };
    for (const auto& [text, mime_type] : cases) {
        EXPECT_EQ(Sniff_Mime_Type(text), mime_type) << text;
        EXPECT_EQ(Sniff_Mime_Type(Utf8_Mark + text), mime_type) << text;
        EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian_Mark + Utf16_Little_Endian(text)), mime_type) << text;
        EXPECT_EQ(Sniff_Mime_Type(Utf16_Big_Endian_Mark + Utf16_Big_Endian(text)), mime_type) << text;
    }
}

TEST(Text_Formats, OtherCharactersOfUtf16AreNoAscii) {
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian_Mark + "<\0x\0/\0>\0"s), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian_Mark + "<\1x\0/\0>\0"s), "text/plain"); // U+013C
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian_Mark + "\0<x\0/\0>\0"s), "text/plain"); // U+3C00
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Big_Endian_Mark + "\1<\0x\0/\0>"s), "text/plain");    // U+013C
    // They are characters of names, be they in Latin-1 or not.
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian_Mark + "<\0\xE4\0/\0>\0"s), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian_Mark + "<\0\x44\3/\0>\0"s), "text/xml");
}

TEST(Text_Formats, Utf16WithoutMarkIsKnownByTheXmlDeclaration) {
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian("<?xml version='1.0'?><a/>")), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Big_Endian("<?xml version='1.0'?><a/>")), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian("<?xml version='1.0'?><svg/>")), "image/svg+xml");
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Little_Endian("<a/>")), "");
    EXPECT_EQ(Sniff_Mime_Type(Utf16_Big_Endian("text")), "");
}

TEST(Rtf, BeginsWithItsGroup) {
    EXPECT_EQ(Sniff_Mime_Type("{\\rtf1 text}"), "application/rtf");
    EXPECT_EQ(Sniff_Mime_Type(" {\\rtf1 text}"), "text/plain");
    EXPECT_EQ(Sniff_Mime_Type("{\\rt"), "text/plain");
}

TEST(Binary_Formats, KnownByTwoLettersAreNoText) {
    EXPECT_EQ(Sniff_Mime_Type("MZ\x90\0"s), "application/x-msdownload");
    EXPECT_EQ(Sniff_Mime_Type("MZ is the beginning of this text"), "text/plain");
    EXPECT_EQ(Sniff_Mime_Type("BZh as well"), "text/plain");
}

const std::string Word = "application/vnd.openxmlformats-officedocument.wordprocessingml.document";

TEST(Zip_Family, OfficeOpenXmlHasAPackageEntryAndAFolder) {
    const Zip_Entry types{"[Content_Types].xml", "<Types/>"};
    const Zip_Entry relations{"_rels/.rels", "<Relationships/>"};
    const Zip_Entry document{"word/document.xml", "<x/>"};
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({types, document})), Word);
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({relations, document})), Word);
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({document, types})), Word);
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({document})), "application/zip");
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({types, relations})), "application/zip");
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({types, {"my/word/document.xml", ""}})), "application/zip");
}

TEST(Zip_Family, OfficeOpenXmlIsKnownAsFarAsTheHeadGoes) {
    // The folder's name is in the head as a whole, or cut.
    const std::size_t before = 30 + 19 + 30; // both headers and the first name
    const std::string folder = "word/document.xml";
    const auto archive = [&](std::size_t length) {
        return Zip_Archive({{"[Content_Types].xml", std::string(length, 'x')}, {folder, ""}});
    };
    EXPECT_EQ(Sniff_Mime_Type(archive(Sniffed_Length - before - folder.size())), Word);
    EXPECT_EQ(Sniff_Mime_Type(archive(Sniffed_Length - before - folder.size() + 1)), "application/zip");
}

TEST(Zip_Family, TypeEntryComesFirstAndStored) {
    const std::string type = "application/vnd.oasis.opendocument.text";
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({{"mimetype", type}})), type);
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({{"mimetype", type, "extra"}})), type);
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({{"mimetype", type, std::string(Sniffed_Length, 'x')}})), "application/zip");
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({{"content.xml", ""}, {"mimetype", type}})), "application/zip");
    EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({{"mimetype2", type}})), "application/zip");

    std::string compressed = Zip_Archive({{"mimetype", type}});
    compressed[8] = 8;
    EXPECT_EQ(Sniff_Mime_Type(compressed), "application/zip");
}

TEST(Zip_Family, TypeEntryNamesAKnownType) {
    for (const std::string type : {"application/vnd.oasis.opendocument.texts", "application/vnd.oasis.opendocument.tex",
                                   "application/x-msdownload", "text/javascript", ""}) {
        EXPECT_EQ(Sniff_Mime_Type(Zip_Archive({{"mimetype", type}})), "application/zip") << type;
    }
}

} // namespace
