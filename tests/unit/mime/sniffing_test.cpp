// What sniffing answers: each row of the tables of the WHATWG MIME Sniffing standard with what comes near it, the
// payloads of the web platform tests for unknown types, and what is told apart where the standard says just text or
// archive: XML without declaration, JSON, INI, RTF and the families of ZIP.

#include "mime/content_type.h"
#include "mime/extension_table.h"
#include "mime/sniffing/sniff.h"
#include "tests/support/Standard_Library.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;
using QEL::Mime::Sniffing::Sniff_Mime_Type;
using QEL::Mime::Sniffing::Sniffed_Length;

const std::string Text = "text/plain";
const std::string Html = "text/html";
const std::string Xml = "text/xml";
const std::string Svg = "image/svg+xml";
const std::string Json = "application/json";
const std::string Ini = "text/x-ini";
const std::string Zip = "application/zip";
const std::string Mp4 = "video/mp4";
const std::string Webm = "video/webm";
const std::string Unknown; // "application/octet-stream" in the standard

/// The type of these bytes alone: they end where their memory ends, so that the address sanitizer sees a read behind
/// them.
std::string Type_Of_Exactly(std::string_view bytes) {
    const auto memory = std::make_unique<char[]>(bytes.size());
    std::ranges::copy(bytes, memory.get());
    return std::string(Sniff_Mime_Type({memory.get(), bytes.size()}));
}

/// The contents are of this type, and what lies behind any prefix of them does not count.
void Expect_Type(const std::string& mime_type, const std::vector<std::string>& contents) {
    for (const std::string_view content : contents) {
        EXPECT_EQ(Sniff_Mime_Type(content), mime_type) << content;
        for (std::size_t length = 0; length <= content.size(); ++length) {
            const std::string_view prefix = content.substr(0, length);
            ASSERT_EQ(Type_Of_Exactly(prefix), Sniff_Mime_Type(prefix)) << content << ", " << length << " bytes";
        }
    }
}

const std::string Utf8_Mark = "\xEF\xBB\xBF";
const std::string Utf16_Little_Endian_Mark = "\xFF\xFE";
const std::string Utf16_Big_Endian_Mark = "\xFE\xFF";

/// ASCII text in UTF-16, without byte order mark.
std::string Utf16_Little_Endian(const std::string& text) {
    std::string units;
    for (const char c : text) {
        units += {c, '\0'};
    }
    return units;
}
std::string Utf16_Big_Endian(const std::string& text) {
    return text.empty() ? text : '\0' + Utf16_Little_Endian(text).substr(0, 2 * text.size() - 1);
}

/// Text so long that the head is cut.
std::string Lengthened(std::string text, const std::string& line) {
    while (text.size() <= Sniffed_Length) {
        text += line;
    }
    return text;
}

// The standard

struct Example {
    const char* description;
    /// The bytes in hexadecimal, with blanks between them.
    const char* payload;
    std::string mime_type;
};

std::string Bytes(const std::string& hexadecimal) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hexadecimal.size(); i += 3) {
        bytes += static_cast<char>(std::strtol(hexadecimal.substr(i, 2).c_str(), nullptr, 16));
    }
    return bytes;
}

const std::vector<Example> Unknown_Type_Examples = {
    {"Windows icon", "00 00 01 00", "image/x-icon"},
    {"Windows cursor", "00 00 02 00", "image/x-icon"},
    {"BMP", "42 4D", "image/bmp"},
    {"GIF87a", "47 49 46 38 37 61", "image/gif"},
    {"GIF89a", "47 49 46 38 39 61", "image/gif"},
    {"WebP with VP", "52 49 46 46 00 00 00 00 57 45 42 50 56 50", "image/webp"},
    {"WebP without VP", "52 49 46 46 00 00 00 00 57 45 42 50", Unknown},
    {"PNG", "89 50 4E 47 0D 0A 1A 0A", "image/png"},
    {"JPEG", "FF D8 FF", "image/jpeg"},
    {"basic audio", "2E 73 6E 64", Text},
    {"AIFF", "46 4F 52 4D 00 00 00 00 41 49 46 46", "audio/aiff"},
    {"MP3 with an ID3v2 tag", "49 44 33", "audio/mpeg"},
    {"Ogg with NUL", "4F 67 67 53 00", "application/ogg"},
    {"Ogg without NUL", "4F 67 67 53", Text},
    {"MIDI", "4D 54 68 64 00 00 00 06", "audio/midi"},
    {"AVI", "52 49 46 46 00 00 00 00 41 56 49 20", "video/avi"},
    {"WAVE", "52 49 46 46 00 00 00 00 57 41 56 45", "audio/wave"},
    {"WebM with default values", "1A 45 DF A3 81 42 82 84 77 65 62 6D", "video/webm"},
    {"WebM with explicit values",
     "1A 45 DF A3 01 FF FF FF FF FF FF FF 42 86 81 01 42 F7 81 01 42 F2 81 04 42 F3 81 08 42 87 81 01 42 85 81 01 "
     "42 82 84 77 65 62 6D",
     "video/webm"},
    {"GZIP", "1F 8B 08", "application/x-gzip"},
    {"PDF", "25 50 44 46 2D", "application/pdf"},
    {"PDF in lower case", "25 70 64 66 2D", Text},
    {"PostScript", "25 21 50 53 2D 41 64 6F 62 65 2D", "application/postscript"},
    {"ZIP", "50 4B 03 04", "application/zip"},
    {"RAR", "52 61 72 21 1A 07 00", "application/x-rar-compressed"},
    {"all binary bytes", "00 01 02 03 04 05 06 07 08 0B 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1C 1D 1E 1F", Unknown},
    {"RealAudio", "2E 52 4D 46", Text},
    {"ASF", "30 26 B2 75 8E 66 CF 11 A6 D9 00 AA 00 62 CE 6C", Unknown},
    {"TIFF without blank bytes", "49 20 49", Text},
    {"TIFF, little endian, without NUL", "49 49 2A", Text},
    {"WMF", "D7 CD C6 9A", Text},
    {"JFIF", "FF D8 FF E0 00 00 4A 46 49 46 00", "image/jpeg"},
    {"ART 03", "4A 47 03 0E 00", Unknown},
    {"ART 04", "4A 47 04 0E 00", Unknown},
    {"JPEG XL code stream", "FF 0A", Text},
    {"JPEG XL container", "00 00 00 0C 4A 58 4C 20 0D 0A 87 0A", Unknown},
    {"MP3 in WAVE", "52 49 46 46 00 00 00 00 57 41 56 45 00 00 00 00 00 00 00 00 55 00", "audio/wave"},
    {"FLAC", "66 4C 61 43", Text},
    {"M3U play list", "23 45 58 54 4D 33 55", Text},
    {"JPEG 2000", "00 00 00 0C 6A 50 20 20 0D 0A 87 0A", Unknown},
    {"contents of a JPEG 2000 box", "0D 0A 87 0A", Text},
    {"JPEG 2000 code stream", "FF 4F FF 51", Text},
    // Known here though binary data to the standard.
    {"TIFF, big endian", "4D 4D 00 2A", "image/tiff"},
    {"TIFF, little endian", "49 49 2A 00", "image/tiff"},
    {"AVIF", "00 00 00 10 66 74 79 70 61 76 69 66", "image/avif"},
    {"HEIC", "00 00 00 10 66 74 79 70 68 65 69 63", "image/heic"},
    {"ZIP without entries", "50 4B 05 06", "application/zip"},
    {"RAR 5", "52 61 72 21 1A 07 01 00", "application/x-rar-compressed"},
    {"7z", "37 7A BC AF 27 1C", "application/x-7z-compressed"},
    {"XZ", "FD 37 7A 58 5A 00", "application/x-xz"},
    {"cabinet", "4D 53 43 46 00 00 00 00", "application/vnd.ms-cab-compressed"},
    // Not typed, so that the cached copy cannot be run by opening it.
    {"ELF program", "7F 45 4C 46 02 01 01 00", Unknown},
    {"shortcut", "4C 00 00 00 01 14 02 00", Unknown},
    {"compiled help", "49 54 53 46 03 00 00 00", Unknown},
    {"compound file", "D0 CF 11 E0 A1 B1 1A E1", Unknown},
};

/// True when another example of the type begins like this one and is shorter.
bool Has_Shorter_Form(const Example& example) {
    return std::ranges::any_of(Unknown_Type_Examples, [&](const Example& other) {
        return other.mime_type == example.mime_type && std::strlen(other.payload) < std::strlen(example.payload) &&
               std::string_view(example.payload).starts_with(other.payload);
    });
}

/// Of a signature that counts whole, no shorter part is of the type.
void Expect_Whole_Signature(const std::string& signature, const std::string& mime_type) {
    for (std::size_t length = 0; length < signature.size(); ++length) {
        EXPECT_NE(Sniff_Mime_Type(signature.substr(0, length)), mime_type) << signature << ", " << length << " bytes";
    }
}

TEST(Standard, ExamplesAreIdentifiedByTheirWholeSignature) {
    for (const Example& example : Unknown_Type_Examples) {
        SCOPED_TRACE(example.description);
        Expect_Type(example.mime_type, {Bytes(example.payload)});
        if (example.mime_type != Text && example.mime_type != Unknown && !Has_Shorter_Form(example)) {
            Expect_Whole_Signature(Bytes(example.payload), example.mime_type);
        }
    }
}

TEST(Standard, Mp4HasItsBrandFirstOrLater) {
    const struct {
        std::string brand;
        std::string type_by_first_brand;
        std::string type_by_second_brand = type_by_first_brand;
    } brands[] = {
        {"mp4\0"s, Mp4},   {"mp41", Mp4},     {"mp42", Mp4},     {"avc\0"s, Unknown}, {"avc1", Unknown},
        {"3gp4", Unknown}, {"3gp5", Unknown}, {"M4V ", Unknown}, {"M4A ", Unknown},   {"M4P ", Unknown},
        {"qt  ", Unknown}, {"isom", Unknown}, {"iso2", Unknown}, {"mmp4", Unknown},   {"avif", "image/avif", Unknown}};
    for (const auto& [brand, by_first, by_second] : brands) {
        const std::string first = "\0\0\0\x10"s + "ftyp" + brand + std::string(4, '\0');
        const std::string second = "\0\0\0\x18"s + "ftyp" + std::string(8, '\0') + brand + std::string(4, '\0');
        EXPECT_EQ(Sniff_Mime_Type(first), by_first) << brand;
        EXPECT_EQ(Sniff_Mime_Type(second), by_second) << brand;
        if (by_second == Mp4) {
            Expect_Whole_Signature(first, Mp4);
            Expect_Whole_Signature(second, Mp4);
        }
    }
}

TEST(Standard, SignaturesCountAtTheBeginningOnly) {
    Expect_Type(Text, {" %PDF-1.4", "\nGIF89a"});
    Expect_Type(Unknown, {" \x1F\x8B\x08"});
}

// What each pattern for HTML begins with; a blank or ">" ends it.
const std::vector<std::string> Html_Beginnings = {
    "<!DOCTYPE HTML", "<HTML",  "<HEAD", "<SCRIPT", "<IFRAME", "<H1", "<DIV", "<FONT", "<TABLE", "<A",
    "<STYLE",         "<TITLE", "<B",    "<BODY",   "<BR",     "<P",  "<!--",
};

std::string Lower_Case(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

std::string Mixed_Case(std::string text) {
    for (std::size_t i = 0; i < text.size(); i += 2) {
        text[i] = Lower_Case(text)[i];
    }
    return text;
}

const std::vector<std::string> Leading_Blanks = {"", "\t\n\f\r ", "\t\t\t\t\t", "\n\n\n\n\n", "\f\f", "\r\r", "     "};

TEST(Standard, HtmlBeginsWithATagThatEnds) {
    for (const std::string& blanks : Leading_Blanks) {
        for (const std::string& beginning : Html_Beginnings) {
            for (const std::string& written : {beginning, Lower_Case(beginning), Mixed_Case(beginning)}) {
                EXPECT_EQ(Sniff_Mime_Type(blanks + written + " "), Html) << blanks + written;
                EXPECT_EQ(Sniff_Mime_Type(blanks + written + ">"), Html) << blanks + written;
                EXPECT_EQ(Sniff_Mime_Type(blanks + written), Text) << blanks + written;
                for (const char behind : {'\n', '\t', '/', '_', '-', '\xFF'}) {
                    EXPECT_EQ(Sniff_Mime_Type(blanks + written + behind), Text) << blanks + written + behind;
                }
            }
        }
    }
}

TEST(Standard, OnlyBlanksMayComeBeforeATag) {
    for (const char before : {'\v', '\x1B', '-', 'x'}) {
        EXPECT_NE(Sniff_Mime_Type(before + "<html>"s), Html) << static_cast<int>(before);
        EXPECT_NE(Sniff_Mime_Type(before + "<?xml version='1.0'?>"s), Xml) << static_cast<int>(before);
    }
}

TEST(Standard, MarkupNeedNotBeText) {
    Expect_Type(Html, {"<html>\0"s});
    Expect_Type(Xml, {"<?xml\0"s});
}

TEST(Standard, XmlBeginsWithItsDeclaration) {
    for (const std::string& blanks : Leading_Blanks) {
        Expect_Type(Xml, {blanks + "<?xml", blanks + "<?xml version=\"1.0\"?><html>"});
        Expect_Type(Text, {blanks + "<?XML", blanks + "<?xm"});
    }
}

TEST(Standard, ByteOrderMarkMakesText) {
    // With anything behind it, once there are four bytes; shorter data is text because no byte of it is binary.
    Expect_Type(
        Text, {"\xFE\xFF\x00\x01"s, "\xFF\xFE\x00\x01"s, "\xEF\xBB\xBF\x00"s, "\xFE\xFF", "\xFF\xFE", "\xEF\xBB\xBF"});
    Expect_Type(Unknown, {"\xFE\xFF\x00"s, "\xFF\xFE\x00"s});
}

TEST(Standard, BinaryBytesTellDataFromText) {
    for (int byte = 0; byte < 256; ++byte) {
        const bool binary =
            byte <= 0x08 || byte == 0x0B || (byte >= 0x0E && byte <= 0x1A) || (byte >= 0x1C && byte <= 0x1F);
        // At every place among bytes that are read together, and in text without and with line ends.
        for (std::size_t place = 0; place < 40; ++place) {
            std::string text = "some text\nin lines of some length, longer";
            text[place] = static_cast<char>(byte);
            EXPECT_EQ(Sniff_Mime_Type(text), binary ? Unknown : Text) << byte << " at " << place;
        }
    }
}

TEST(Standard, HeadEndsAfter1445Bytes) {
    const std::string text_1444(1444, 'a');
    Expect_Type(Unknown, {text_1444 + '\0'});
    Expect_Type(Text, {text_1444 + 'a' + '\0'});

    // "<html>" ends with the head, or one byte behind it.
    Expect_Type(Html, {std::string(1445 - 6, ' ') + "<html>"});
    Expect_Type(Xml, {std::string(1445 - 5, ' ') + "<?xml?>"});
    Expect_Type(Text, {std::string(1445 - 5, ' ') + "<html>", std::string(1445 - 4, ' ') + "<?xml?>"});

    // A box of 1444 bytes ends in the head, one of 1448 does not.
    const std::string brand = "ftypmp42" + std::string(1500, '\0');
    Expect_Type(Mp4, {"\x00\x00\x05\xA4"s + brand});
    Expect_Type(Unknown, {"\x00\x00\x05\xA8"s + brand});
}

TEST(Standard, Mp4BoxIsOneOfWholeWords) {
    Expect_Type(Mp4, {"\0\0\0\x14"s + "ftypisom" + "\0\0\0\0mp42"s});
    Expect_Type(Unknown, {"\0\0\0\x11"s + "ftypmp42" + std::string(8, '\0'),
                          "\0\0\0\x14"s + "ftypmp42" + std::string(4, '\0'), // longer than the data
                          "\0\0\0\x10"s + "ftypisommp42",                    // the version of the brand does not count
                          "\0\0\0\x10"s + "ftypisom" + "\0\0\0\0mp42"s,      // brand behind the box
                          "\0\0\0\x10"s + "ftyqmp42" + std::string(4, '\0')});
}

TEST(Standard, WebmIsADocumentTypeOfEbml) {
    const std::string header = "\x1A\x45\xDF\xA3\x9F";
    Expect_Type(Webm, {header + "\x42\x82\x84webm",
                       header + "\x42\x82\x40\x04webm",  // a length of two bytes
                       header + "\x42\x82\x86\0\0webm"s, // filled up
                       header + std::string(32, 'x') + "\x42\x82\x84webm"});
    Expect_Type(Unknown, {header + "\x42\x82\x84webx",                        // another type
                          header + "\x42\x83\x84webm",                        // another element
                          header + std::string(33, 'x') + "\x42\x82\x84webm", // too far behind
                          "\x1A\x45\xDF\x9F\x42\x82\x84webm"});
}

/// A frame of MPEG audio: its header, filled up to its length.
std::string Frame(const std::string& header, std::size_t length) {
    return header + std::string(length - 4, '\0');
}

TEST(Standard, Mp3IsTwoFramesInARow) {
    const std::pair<std::string, std::size_t> frames[] = {
        {"\xFF\xFB\x90\x00"s, 417},  // version 1, 128 kbit/s, 44.1 kHz
        {"\xFF\xFB\x92\x00"s, 418},  // the same with padding
        {"\xFF\xFB\x14\x00"s, 96},   // version 1, 32 kbit/s, 48 kHz
        {"\xFF\xFB\xE8\x00"s, 1440}, // version 1, 320 kbit/s, 32 kHz
        {"\xFF\xF3\x10\x00"s, 26},   // version 2, 8 kbit/s, 22.05 kHz
        {"\xFF\xF3\xE8\x00"s, 720},  // version 2, 160 kbit/s, 16 kHz
        {"\xFF\xE3\x80\x00"s, 417},  // version 2.5, 64 kbit/s, 11.025 kHz
    };
    for (const auto& [header, length] : frames) {
        Expect_Type("audio/mpeg", {Frame(header, length) + header});
        Expect_Type(Unknown, {Frame(header, length), Frame(header, length - 1) + header,
                              Frame(header, length + 1) + header, Frame(header, length) + header.substr(0, 3)});
    }
}

TEST(Standard, FrameHeadersWithReservedValuesAreNoMp3) {
    for (const std::string& header : {
             "\xFF\x9B\x90\x00"s, // no synchronisation
             "\xFE\xFB\x90\x00"s,
             "\xFF\xFD\x90\x00"s, // layer II
             "\xFF\xFF\x90\x00"s, // layer I
             "\xFF\xF9\x90\x00"s, // reserved layer
             "\xFF\xEB\x90\x00"s, // reserved version
             "\xFF\xFB\x00\x00"s, // free bit rate
             "\xFF\xFB\xF0\x00"s, // bad bit rate
             "\xFF\xFB\x9C\x00"s, // reserved sample rate
         }) {
        for (std::size_t length = header.size(); length <= 1441; ++length) {
            EXPECT_EQ(Sniff_Mime_Type(Frame(header, length) + header), Unknown) << length;
        }
    }
}

// What is told apart of text

TEST(Xml, NeedsNoDeclaration) {
    Expect_Type(Xml,
                {"<x/>", "<x></x>", "  \r\n<x>text</x>\r\n", "<x >text</x >", "<x b='1' c=\"2\" d = '>'>text</x>",
                 "<x\n  b='1'\n/>", "<n:a xmlns:n='urn:n'/>", "<_a.b-c1/>", "<\xC3\xA4rger>text</\xC3\xA4rger>",
                 "<!-- comment --><x/>", "<!--comment--><!-- more -->\n<x/>", "<?xml-stylesheet href='a.xsl'?><x/>",
                 "<!DOCTYPE x [<!ELEMENT x EMPTY>]><x/>", "<!DOCTYPE x>\n<x/>", "<!DOCTYPE x[<!ELEMENT x EMPTY>]><x/>",
                 "<Body2/>", "<section>text</section>"});
}

TEST(Xml, WithoutDeclarationIsWellFormed) {
    std::istringstream texts(
        "<|<x|<x>|<x>text|<x>text</b>|<x>text<x>|<x>text</x> and more|<x b='1'|<x b='1' c=|"
        "<x/> and more|<x b>text</x>|<x b=1>text</x>|<x b='1>text</x>|<x b='1'c='2'>text</x>|<x / >|"
        "<1a/>|< a/>|<x@example.com>|<!DOCTYPE>|<!DOCTYPEx>|<!doctype x><x/>|<!ELEMENT x>|"
        "<?php echo 1 ?>|a <x/>|</x>");
    for (std::string text; std::getline(texts, text, '|');) {
        EXPECT_NE(Sniff_Mime_Type(text), Xml) << text;
    }
}

TEST(Xml, MayGoOnBehindTheHead) {
    Expect_Type(Xml, {Lengthened("<root>", "<item/>\n"), Lengthened("<root", " attribute='value'"),
                      Lengthened("<root a='1' b='", "long value ")});
    Expect_Type(Text, {Lengthened("<root a='1' wrong ", "text > text "), Lengthened("<root ", "no attribute "),
                       Lengthened("<root/>", "text")});
}

TEST(Xml, RootThatIsAnHtmlElementIsNone) {
    // The standard takes them for HTML, but not with a line end behind the name.
    Expect_Type(Text, {"<html\n>text</html>", "<P\n/>", "<!DOCTYPE html\n><x/>", "<!--\n--><html/>"});
}

TEST(Xml, DecidesAboutACommentAtTheBeginning) {
    Expect_Type(Xml, {"<!-- comment --><root/>"});
    Expect_Type(Html, {"<!-- comment --><html><body/></html>", "<!-- comment -->", "<!-- comment --> text",
                       Lengthened("<!-- ", "long comment ")});
}

TEST(Xml, DeclaredIsXmlWhateverFollows) {
    Expect_Type(Xml, {"<?xml version='1.0'?>\nno XML at all",
                      "<?xml version='1.0'?><html xmlns='http://www.w3.org/1999/xhtml'/>"});
}

TEST(Svg, IsXmlWithItsRoot) {
    Expect_Type(Svg, {"<svg/>", "<s:svg xmlns:s='http://www.w3.org/2000/svg'></s:svg>",
                      "<?xml version='1.0'?><!-- comment --><svg/>",
                      "<!DOCTYPE svg PUBLIC '-//W3C//DTD SVG 1.1//EN' 'svg11.dtd'><svg/>"});
    Expect_Type(Xml, {"<svgs/>"});
    Expect_Type(Text, {"<svg"});
}

TEST(Json, IsAnObjectOrAnArray) {
    Expect_Type(Json, {"{}", "[]", " \r\n\t[ ]\n", "{\"a\":1}", "{\"a\": {\"b\": [true, false, null]}, \"c\": \"d\"}",
                       "[1, -2, 3.5, 1e10, -1.5E-3, 1e+2]", R"(["quote \" and backslash \\", "\\\""])",
                       "[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]", "{\"\": \"\"}", "[\"\xC3\xA4\"]"});
}

TEST(Json, ObeysItsGrammar) {
    Expect_Type(Text,
                {"{",         "[",         "{\"a\"", "{\"a\":", "{\"a\":1",     "{\"a\":1,", "{\"a\":1,}", "{\"a\" 1}",
                 "{\"a\",1}", "{a:1}",     "{1:1}",  "{'a':1}", "{]",           "[}",        "[1",         "[1,",
                 "[1,]",      "[1 2]",     "[1:2]",  "[a]",     "[True]",       "[-]",       "[--1]",      "[1a]",
                 "[\"a]",     R"(["a\"])", "{} {}",  "[] text", "[1] Footnote", "{{name}}",  "{\"a\":1}}", "1",
                 "true",      "\"text\""});
}

TEST(Json, IsKnownByItsFirst16Tokens) {
    Expect_Type(Json, {"[1,2,3,4,5,6,7,8 no JSON"});
    Expect_Type(Text, {"[1,2,3,4,5,6,7, no JSON"});
}

TEST(Json, MayGoOnBehindTheHead) {
    Expect_Type(Json, {Lengthened("[", "{\"a\": 1},\n"), Lengthened("[\"", "long string "),
                       Lengthened("[1,", "         "), Lengthened("[1]", "         ")});
    Expect_Type(Text, {Lengthened("[1 ", "text     "), Lengthened("", "         ")});
}

TEST(Ini, IsASectionWithAnEntry) {
    Expect_Type(Ini, {"[a]\nb=c", "[a]\r\nb=c\r\n", "[a]\nb=", "[a]\nb = c = d\n", "\n\n  [a]\n\n  b=c\n",
                      "; comment\n[a]\n# comment\nb=c\n", "[a] ; comment\nb=c\n", "[ a b ]\nb=c\n", "[a]\n[b]\n",
                      "[1]\nb=c\n", "[\"a\"]\nb=c\n", "[a]\nb=c\nwhatever follows\n", "[K\xF6ln]\nb=\xDF\n"});
}

TEST(Ini, IsNothingLess) {
    Expect_Type(Text,
                {"[a]", "[a]\n", "[a]\n; comment\n", "[a]\nb\n", "[a]\n=c\n", "[a\nb=c\n", "[]\nb=c\n", "[ ]\nb=c\n",
                 "[a] b\nc=d\n", "a=b\n[a]\nb=c\n", "a=b\n", "; comment\n", "[link] and text\n", "text [a]\nb=c\n"});
}

TEST(Ini, IsNoScript) {
    // Registry files and batch files stay text: their own extensions would run them.
    Expect_Type(Text, {"REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n\"a\"=\"b\"\r\n", "@echo off\r\nset a=b\r\n",
                       "#!/bin/sh\necho hello\n"});
}

TEST(Text_Formats, AreToldApartInEachEncodingWithAMark) {
    for (const auto& [text, mime_type] : {std::pair<std::string, std::string>{"<?xml version='1.0'?>\r\n<a/>", Xml},
                                          {"<x>\r\n</x>\r\n", Xml},
                                          {"<html><head>", Html},
                                          {"; a\r\n[b]\r\nc=d\r\n", Ini},
                                          {"{\"a\": [1, \"b\"]}\n", Json},
                                          {"Some text.\r\nMore of it.\r\n", Text}}) {
        Expect_Type(mime_type, {text, Utf8_Mark + text, Utf16_Little_Endian_Mark + Utf16_Little_Endian(text),
                                Utf16_Big_Endian_Mark + Utf16_Big_Endian(text)});
    }
}

TEST(Text_Formats, OtherCharactersOfUtf16AreNoAscii) {
    // They are characters of names, be they in Latin-1 or not.
    for (const std::string& name : {"x\0"s, "\xE4\0"s, "\x44\3"s}) {
        Expect_Type(Xml, {Utf16_Little_Endian_Mark + "<\0"s + name + "/\0>\0"s});
    }
    Expect_Type(Text, {Utf16_Little_Endian_Mark + "<\1x\0/\0>\0"s, // U+013C
                       Utf16_Little_Endian_Mark + "\0<x\0/\0>\0"s, // U+3C00
                       Utf16_Big_Endian_Mark + "\1<\0x\0/\0>"s});  // U+013C
}

TEST(Text_Formats, Utf16WithoutMarkIsKnownByTheXmlDeclaration) {
    Expect_Type(Xml, {Utf16_Little_Endian("<?xml version='1.0'?><a/>"), Utf16_Big_Endian("<?xml version='1.0'?><a/>")});
    Expect_Type(Svg, {Utf16_Little_Endian("<?xml version='1.0'?><svg/>")});
    Expect_Type(Unknown, {Utf16_Little_Endian("<a/>"), Utf16_Big_Endian("text")});
}

TEST(Rtf, BeginsWithItsGroup) {
    Expect_Type("application/rtf", {"{\\rtf1 text}"});
    Expect_Type(Text, {" {\\rtf1 text}", "{\\rt"});
}

TEST(Binary_Formats, KnownByTwoLettersAreNoText) {
    Expect_Type("application/x-msdownload", {"MZ\x90\0"s});
    Expect_Type("application/x-bzip2", {"BZh91AY&SY\x19\x31"});
    Expect_Type(Text, {"MZ is the beginning of this text", "BZh as well"});
}

std::string Little_Endian(std::size_t number, std::size_t length) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
        bytes += static_cast<char>(number >> 8 * i & 0xFF);
    }
    return bytes;
}

struct Zip_Entry {
    std::string name;
    std::string contents;
    /// More bytes in the header, which writers use for padding.
    std::string extra = {};
};

/// The entries of a ZIP archive, stored as they are, without the directory behind them.
std::string Zip_Archive(const std::vector<Zip_Entry>& entries) {
    std::string archive;
    for (const auto& [name, contents, extra] : entries) {
        // Version, flags, method, time, date, no checksum, both sizes.
        archive += "PK\3\4\x14\0\0\0\0\0\0\0\x21\0"s + std::string(4, '\0') + Little_Endian(contents.size(), 4) +
                   Little_Endian(contents.size(), 4) + Little_Endian(name.size(), 2) + Little_Endian(extra.size(), 2) +
                   name + extra + contents;
    }
    return archive;
}

const std::string Office = "application/vnd.openxmlformats-officedocument.";
const std::string Word = Office + "wordprocessingml.document";

TEST(Zip_Family, OfficeOpenXmlHasAPackageEntryAndAFolder) {
    const Zip_Entry types{"[Content_Types].xml", "<Types/>"};
    const Zip_Entry relations{"_rels/.rels", "<Relationships/>"};
    const Zip_Entry document{"word/document.xml", "<x/>"};
    Expect_Type(Word,
                {Zip_Archive({types, document}), Zip_Archive({relations, document}), Zip_Archive({document, types})});
    Expect_Type(Office + "spreadsheetml.sheet", {Zip_Archive({types, {"xl/workbook.xml", "<x/>"}})});
    Expect_Type(Office + "presentationml.presentation", {Zip_Archive({types, {"ppt/presentation.xml", "<x/>"}})});
    Expect_Type(Zip, {Zip_Archive({document}), Zip_Archive({types, relations}),
                      Zip_Archive({types, {"my/word/document.xml", ""}})});
}

TEST(Zip_Family, OfficeOpenXmlIsKnownAsFarAsTheHeadGoes) {
    // The folder's name is in the head as a whole, or cut.
    const std::size_t before = 30 + 19 + 30; // both headers and the first name
    const std::string folder = "word/document.xml";
    const auto archive = [&](std::size_t length) {
        return Zip_Archive({{"[Content_Types].xml", std::string(length, 'x')}, {folder, ""}});
    };
    Expect_Type(Word, {archive(Sniffed_Length - before - folder.size())});
    Expect_Type(Zip, {archive(Sniffed_Length - before - folder.size() + 1)});
}

TEST(Zip_Family, TypeEntryComesFirstAndStored) {
    const std::string type = "application/vnd.oasis.opendocument.text";
    Expect_Type(type, {Zip_Archive({{"mimetype", type}}), Zip_Archive({{"mimetype", type, "extra"}})});
    Expect_Type(Zip, {Zip_Archive({{"mimetype", type, std::string(Sniffed_Length, 'x')}}),
                      Zip_Archive({{"content.xml", ""}, {"mimetype", type}}), Zip_Archive({{"mimetype2", type}})});

    std::string compressed = Zip_Archive({{"mimetype", type}});
    compressed[8] = 8;
    Expect_Type(Zip, {compressed});
}

const std::string Open_Document = "application/vnd.oasis.opendocument.";
const std::string Types_In_Entry[] = {Open_Document + "text", Open_Document + "spreadsheet",
                                      Open_Document + "presentation", Open_Document + "graphics",
                                      "application/epub+zip"};

TEST(Zip_Family, TypeEntryNamesAKnownType) {
    for (const std::string& type : Types_In_Entry) {
        Expect_Type(type, {Zip_Archive({{"mimetype", type}, {"content.xml", "<x/>"}})});
    }
    for (const std::string& type :
         {Open_Document + "texts", Open_Document + "tex", std::string("application/x-msdownload"),
          std::string("text/javascript"), std::string()}) {
        Expect_Type(Zip, {Zip_Archive({{"mimetype", type}})});
    }
}

TEST(Sniffed_Types, HaveAnExtensionUnlessWindowsInstallsFromThem) {
    std::set<std::string> types{Html,
                                Xml,
                                Svg,
                                Json,
                                Ini,
                                Mp4,
                                Word,
                                Office + "spreadsheetml.sheet",
                                Office + "presentationml.presentation",
                                "application/rtf",
                                "application/x-msdownload",
                                "application/x-bzip2"};
    types.insert(std::begin(Types_In_Entry), std::end(Types_In_Entry));
    for (const Example& example : Unknown_Type_Examples) {
        types.insert(example.mime_type);
    }
    types.erase(Unknown);
    for (const std::string& type : types) {
        const auto parsed = QEL::Mime::Find_Mime_Type(type);
        ASSERT_TRUE(parsed) << type;
        EXPECT_EQ(QEL::Mime::Find_Extension(*parsed).empty(), type == "application/vnd.ms-cab-compressed") << type;
    }
}

} // namespace
