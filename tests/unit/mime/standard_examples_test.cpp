// What the WHATWG MIME Sniffing standard says about data of unknown type, case by case: each row of
// its tables with what comes near it, and the payloads of the web platform tests for unknown types.

#include "mime/sniffing/sniff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;
using QEL::Mime::Sniffing::Sniff_Mime_Type;

const std::string Text = "text/plain";
const std::string Html = "text/html";
const std::string Unknown; // "application/octet-stream" in the standard

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
    {"mp4, first brand", "00 00 00 10 66 74 79 70 6D 70 34 00 00 00 00 00", "video/mp4"},
    {"mp4, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 6D 70 34 00 00 00 00 00", "video/mp4"},
    {"mp41, first brand", "00 00 00 10 66 74 79 70 6D 70 34 31 00 00 00 00", "video/mp4"},
    {"mp41, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 6D 70 34 31 00 00 00 00", "video/mp4"},
    {"mp42, first brand", "00 00 00 10 66 74 79 70 6D 70 34 32 00 00 00 00", "video/mp4"},
    {"mp42, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 6D 70 34 32 00 00 00 00", "video/mp4"},
    {"WebM with default values", "1A 45 DF A3 81 42 82 84 77 65 62 6D", "video/webm"},
    {"WebM with explicit values",
     "1A 45 DF A3 01 FF FF FF FF FF FF FF 42 86 81 01 42 F7 81 01 42 F2 81 04 42 F3 81 08 42 87 81 01 42 85 81 01 "
     "42 82 84 77 65 62 6D",
     "video/webm"},
    {"GZIP", "1F 8B 08", "application/x-gzip"},
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
    {"avc, first brand", "00 00 00 10 66 74 79 70 61 76 63 00 00 00 00 00", Unknown},
    {"avc1, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 61 76 63 31 00 00 00 00", Unknown},
    {"3gp4, first brand", "00 00 00 10 66 74 79 70 33 67 70 34 00 00 00 00", Unknown},
    {"3gp5, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 33 67 70 35 00 00 00 00", Unknown},
    {"M4V, first brand", "00 00 00 10 66 74 79 70 4D 34 56 20 00 00 00 00", Unknown},
    {"M4A, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 4D 34 41 20 00 00 00 00", Unknown},
    {"M4P, first brand", "00 00 00 10 66 74 79 70 4D 34 50 20 00 00 00 00", Unknown},
    {"qt, first brand", "00 00 00 10 66 74 79 70 71 74 20 20 00 00 00 00", Unknown},
    {"isom, first brand", "00 00 00 10 66 74 79 70 69 73 6F 6D 00 00 00 00", Unknown},
    {"iso2, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 69 73 6F 32 00 00 00 00", Unknown},
    {"mmp4, first brand", "00 00 00 10 66 74 79 70 6D 6D 70 34 00 00 00 00", Unknown},
    {"mmp4, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 6D 6D 70 34 00 00 00 00", Unknown},
    {"avif, second brand", "00 00 00 18 66 74 79 70 00 00 00 00 00 00 00 00 61 76 69 66 00 00 00 00", Unknown},
    {"JPEG 2000", "00 00 00 0C 6A 50 20 20 0D 0A 87 0A", Unknown},
    {"contents of a JPEG 2000 box", "0D 0A 87 0A", Text},
    {"JPEG 2000 code stream", "FF 4F FF 51", Text},
    // Known here though binary data to the standard.
    {"TIFF, big endian", "4D 4D 00 2A", "image/tiff"},
    {"TIFF, little endian", "49 49 2A 00", "image/tiff"},
    {"avif signature", "00 00 00 10 66 74 79 70 61 76 69 66", "image/avif"},
    {"avif, first brand", "00 00 00 10 66 74 79 70 61 76 69 66 00 00 00 00", "image/avif"},
};

class Unknown_Type : public testing::TestWithParam<Example> {};

TEST_P(Unknown_Type, IsIdentified) {
    EXPECT_EQ(Sniff_Mime_Type(Bytes(GetParam().payload)), GetParam().mime_type);
}

INSTANTIATE_TEST_SUITE_P(Standard, Unknown_Type, testing::ValuesIn(Unknown_Type_Examples));

void PrintTo(const Example& example, std::ostream* out) {
    *out << example.description;
}

/// True when another example of the type begins like this one and is shorter.
bool Has_Shorter_Form(const Example& example) {
    return std::ranges::any_of(Unknown_Type_Examples, [&](const Example& other) {
        return other.mime_type == example.mime_type && std::strlen(other.payload) < std::strlen(example.payload) &&
               std::string_view(example.payload).starts_with(other.payload);
    });
}

TEST(Standard, EachSignatureCountsWhole) {
    for (const Example& example : Unknown_Type_Examples) {
        if (example.mime_type == Text || example.mime_type == Unknown || Has_Shorter_Form(example)) {
            continue;
        }
        const std::string signature = Bytes(example.payload);
        for (std::size_t length = 0; length < signature.size(); ++length) {
            EXPECT_NE(Sniff_Mime_Type(signature.substr(0, length)), example.mime_type)
                << example.description << ", " << length << " bytes";
        }
    }
}

TEST(Standard, SignaturesCountAtTheBeginningOnly) {
    EXPECT_EQ(Sniff_Mime_Type(" %PDF-1.4"), Text);
    EXPECT_EQ(Sniff_Mime_Type("\nGIF89a"), Text);
    EXPECT_EQ(Sniff_Mime_Type(" \x1F\x8B\x08"), Unknown);
}

TEST(Standard, DocumentSignatures) {
    EXPECT_EQ(Sniff_Mime_Type("%PDF-"), "application/pdf");
    EXPECT_EQ(Sniff_Mime_Type("%PDF"), Text);
    EXPECT_EQ(Sniff_Mime_Type("%pdf-"), Text);
    EXPECT_EQ(Sniff_Mime_Type("%!PS-Adobe-"), "application/postscript");
    EXPECT_EQ(Sniff_Mime_Type("%!PS-Adobe"), Text);
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
        EXPECT_NE(Sniff_Mime_Type(before + "<?xml version='1.0'?>"s), "text/xml") << static_cast<int>(before);
    }
}

TEST(Standard, MarkupNeedNotBeText) {
    EXPECT_EQ(Sniff_Mime_Type("<html>\0"s), Html);
    EXPECT_EQ(Sniff_Mime_Type("<?xml\0"s), "text/xml");
}

TEST(Standard, XmlBeginsWithItsDeclaration) {
    for (const std::string& blanks : Leading_Blanks) {
        EXPECT_EQ(Sniff_Mime_Type(blanks + "<?xml"), "text/xml");
        EXPECT_EQ(Sniff_Mime_Type(blanks + "<?xml version=\"1.0\"?><html>"), "text/xml");
        EXPECT_EQ(Sniff_Mime_Type(blanks + "<?XML"), Text);
        EXPECT_EQ(Sniff_Mime_Type(blanks + "<?xm"), Text);
    }
}

TEST(Standard, ByteOrderMarkMakesText) {
    // With anything behind it, once there are four bytes.
    EXPECT_EQ(Sniff_Mime_Type("\xFE\xFF\x00\x01"s), Text);
    EXPECT_EQ(Sniff_Mime_Type("\xFF\xFE\x00\x01"s), Text);
    EXPECT_EQ(Sniff_Mime_Type("\xEF\xBB\xBF\x00"s), Text);
    EXPECT_EQ(Sniff_Mime_Type("\xFE\xFF\x00"s), Unknown);
    EXPECT_EQ(Sniff_Mime_Type("\xFF\xFE\x00"s), Unknown);
    // Shorter data is text because no byte of it is binary.
    EXPECT_EQ(Sniff_Mime_Type("\xFE\xFF"), Text);
    EXPECT_EQ(Sniff_Mime_Type("\xFF\xFE"), Text);
    EXPECT_EQ(Sniff_Mime_Type("\xEF\xBB\xBF"), Text);
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

TEST(Standard, AllTextBytesTogetherAreText) {
    std::string text;
    for (int byte = 0x20; byte < 0x100; ++byte) {
        text += static_cast<char>(byte);
    }
    EXPECT_EQ(Sniff_Mime_Type(text), Text);
}

TEST(Standard, HeadEndsAfter1445Bytes) {
    const std::string text_1444(1444, 'a');
    EXPECT_EQ(Sniff_Mime_Type(text_1444 + '\0'), Unknown);
    EXPECT_EQ(Sniff_Mime_Type(text_1444 + 'a' + '\0'), Text);

    // "<html>" ends with the head, or one byte behind it.
    EXPECT_EQ(Sniff_Mime_Type(std::string(1445 - 6, ' ') + "<html>"), Html);
    EXPECT_EQ(Sniff_Mime_Type(std::string(1445 - 5, ' ') + "<html>"), Text);
    EXPECT_EQ(Sniff_Mime_Type(std::string(1445 - 5, ' ') + "<?xml?>"), "text/xml");
    EXPECT_EQ(Sniff_Mime_Type(std::string(1445 - 4, ' ') + "<?xml?>"), Text);

    // A box of 1444 bytes ends in the head, one of 1448 does not.
    const std::string brand = "ftypmp42" + std::string(1500, '\0');
    EXPECT_EQ(Sniff_Mime_Type("\x00\x00\x05\xA4"s + brand), "video/mp4");
    EXPECT_EQ(Sniff_Mime_Type("\x00\x00\x05\xA8"s + brand), Unknown);
}

TEST(Standard, Mp4BoxIsOneOfWholeWords) {
    EXPECT_EQ(Sniff_Mime_Type("\0\0\0\x11"s + "ftypmp42" + std::string(8, '\0')), Unknown);
    EXPECT_EQ(Sniff_Mime_Type("\0\0\0\x14"s + "ftypmp42" + std::string(4, '\0')), Unknown); // longer than the data
    EXPECT_EQ(Sniff_Mime_Type("\0\0\0\x10"s + "ftypisommp42"), Unknown); // the version of the brand does not count
    EXPECT_EQ(Sniff_Mime_Type("\0\0\0\x14"s + "ftypisom" + "\0\0\0\0mp42"s), "video/mp4");
    EXPECT_EQ(Sniff_Mime_Type("\0\0\0\x10"s + "ftypisom" + "\0\0\0\0mp42"s), Unknown); // brand behind the box
    EXPECT_EQ(Sniff_Mime_Type("\0\0\0\x10"s + "ftyqmp42" + std::string(4, '\0')), Unknown);
}

TEST(Standard, WebmIsADocumentTypeOfEbml) {
    const std::string header = "\x1A\x45\xDF\xA3\x9F";
    EXPECT_EQ(Sniff_Mime_Type(header + "\x42\x82\x84webm"), "video/webm");
    EXPECT_EQ(Sniff_Mime_Type(header + "\x42\x82\x40\x04webm"), "video/webm");  // a length of two bytes
    EXPECT_EQ(Sniff_Mime_Type(header + "\x42\x82\x86\0\0webm"s), "video/webm"); // filled up
    EXPECT_EQ(Sniff_Mime_Type(header + "\x42\x82\x84webx"), Unknown);           // another type
    EXPECT_EQ(Sniff_Mime_Type(header + "\x42\x83\x84webm"), Unknown);           // another element
    EXPECT_EQ(Sniff_Mime_Type(header + std::string(32, 'x') + "\x42\x82\x84webm"), "video/webm");
    EXPECT_EQ(Sniff_Mime_Type(header + std::string(33, 'x') + "\x42\x82\x84webm"), Unknown); // too far behind
    EXPECT_EQ(Sniff_Mime_Type("\x1A\x45\xDF\x9F\x42\x82\x84webm"), Unknown);
}

/// A frame of MPEG audio: its header, filled up to its length.
std::string Frame(const std::string& header, std::size_t length) {
    return header + std::string(length - 4, '\0');
}

TEST(Standard, Mp3IsTwoFramesInARow) {
    const struct {
        const char* description;
        std::string header;
        std::size_t length;
    } frames[] = {
        {"version 1, 128 kbit/s, 44.1 kHz", "\xFF\xFB\x90\x00"s, 417},
        {"the same with padding", "\xFF\xFB\x92\x00"s, 418},
        {"version 1, 32 kbit/s, 48 kHz", "\xFF\xFB\x14\x00"s, 96},
        {"version 1, 320 kbit/s, 32 kHz", "\xFF\xFB\xE8\x00"s, 1440},
        {"version 2, 8 kbit/s, 22.05 kHz", "\xFF\xF3\x10\x00"s, 26},
        {"version 2, 160 kbit/s, 16 kHz", "\xFF\xF3\xE8\x00"s, 720},
        {"version 2.5, 64 kbit/s, 11.025 kHz", "\xFF\xE3\x80\x00"s, 417},
    };
    for (const auto& frame : frames) {
        EXPECT_EQ(Sniff_Mime_Type(Frame(frame.header, frame.length) + frame.header), "audio/mpeg") << frame.description;
        EXPECT_EQ(Sniff_Mime_Type(Frame(frame.header, frame.length)), Unknown) << frame.description;
        EXPECT_EQ(Sniff_Mime_Type(Frame(frame.header, frame.length - 1) + frame.header), Unknown) << frame.description;
        EXPECT_EQ(Sniff_Mime_Type(Frame(frame.header, frame.length + 1) + frame.header), Unknown) << frame.description;
        EXPECT_EQ(Sniff_Mime_Type(Frame(frame.header, frame.length) + frame.header.substr(0, 3)), Unknown);
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

} // namespace
