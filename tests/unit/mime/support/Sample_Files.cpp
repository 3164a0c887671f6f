#include "tests/unit/mime/support/Sample_Files.h"

#include <cstddef>
#include <cstdint>

using namespace std::string_literals;

namespace {

std::string Little_Endian(std::uint32_t number, std::size_t length) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
        bytes += static_cast<char>(number >> 8 * i & 0xFF);
    }
    return bytes;
}

std::string Big_Endian(std::uint32_t number, std::size_t length) {
    const std::string bytes = Little_Endian(number, length);
    return {bytes.rbegin(), bytes.rend()};
}

std::uint32_t Length(const std::string& bytes) {
    return static_cast<std::uint32_t>(bytes.size());
}

/// The checksum of ZIP and PNG, bit by bit: samples are small.
std::uint32_t Crc32(const std::string& bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return ~crc;
}

std::string Repeated(const std::string& text, std::size_t times) {
    std::string repeated;
    for (std::size_t i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

const std::string Landscape_Body = "<Landscape version=\"1\">\r\n"
                                   "  <Services>\r\n"
                                   "    <Service name=\"Orders\" server=\"host.example:3200\"/>\r\n"
                                   "  </Services>\r\n"
                                   "</Landscape>\r\n";

std::string Xml_Declaration(const std::string& encoding) {
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>\r\n";
}

const std::string Ini_Text = "[Configuration]\r\n"
                             "SessManNewKey=10\r\n"
                             "[Server]\r\n"
                             "Item1=host.example\r\n";

const std::string Html_Page =
    "<!DOCTYPE html>\n<html><head><title>Page</title></head><body><p>Text</p></body></html>\n";

const std::string Json_Text =
    "{\"landscape\": {\"version\": 1, \"services\": [{\"name\": \"Orders\", \"port\": 3200}]}}\n";

/// "Grüße und Öl" and some more, encoded with Windows-1252 and with UTF-8.
const std::string Windows_1252_Text = "Gr\xFC\xDF"
                                      "e und \xD6l, 5 \x80\r\nzweite Zeile\r\n";
const std::string Utf8_Text = "Gr\xC3\xBC\xC3\x9F"
                              "e und \xC3\x96l, 5 \xE2\x82\xAC\r\nzweite Zeile\r\n";

std::string Png_Chunk(const std::string& type, const std::string& data) {
    return Big_Endian(Length(data), 4) + type + data + Big_Endian(Crc32(type + data), 4);
}

std::string Png_File() {
    const std::string header = Big_Endian(1, 4) + Big_Endian(1, 4) + "\x08\x00\x00\x00\x00"s;
    return "\x89PNG\r\n\x1A\n" + Png_Chunk("IHDR", header) +
           Png_Chunk("IDAT", "\x78\x9C\x63\x60\x00\x00\x00\x02\x00\x01"s) + Png_Chunk("IEND", "");
}

std::string Bmp_File() {
    const std::string pixels(4, '\x7F');
    const std::string info = Little_Endian(40, 4) + Little_Endian(1, 4) + Little_Endian(1, 4) + Little_Endian(1, 2) +
                             Little_Endian(24, 2) + std::string(24, '\0');
    return "BM" + Little_Endian(14 + Length(info) + Length(pixels), 4) + std::string(4, '\0') +
           Little_Endian(14 + Length(info), 4) + info + pixels;
}

/// An icon or, as kind 2, a cursor with one 16 by 16 picture.
std::string Icon_File(std::uint32_t kind) {
    const std::string picture = Little_Endian(40, 4) + Little_Endian(16, 4) + Little_Endian(32, 4) +
                                Little_Endian(1, 2) + Little_Endian(32, 2) + std::string(24 + 1024 + 64, '\0');
    return Little_Endian(0, 2) + Little_Endian(kind, 2) + Little_Endian(1, 2) + "\x10\x10\x00\x00"s +
           Little_Endian(1, 2) + Little_Endian(32, 2) + Little_Endian(Length(picture), 4) + Little_Endian(22, 4) +
           picture;
}

std::string Riff_File(const std::string& form, const std::string& contents) {
    return "RIFF" + Little_Endian(4 + Length(contents), 4) + form + contents;
}

std::string Wave_File() {
    return Riff_File("WAVE", "fmt " + Little_Endian(16, 4) + Little_Endian(1, 2) + Little_Endian(1, 2) +
                                 Little_Endian(8000, 4) + Little_Endian(8000, 4) + Little_Endian(1, 2) +
                                 Little_Endian(8, 2) + "data" + Little_Endian(8, 4) + std::string(8, '\x80'));
}

/// A Windows program as far as a head shows it: the DOS part, then the PE header.
std::string Windows_Program(bool library) {
    const std::string dos_header =
        "MZ\x90\0\3\0\0\0\4\0\0\0\xFF\xFF\0\0"s + std::string(44, '\0') + Little_Endian(128, 4);
    const std::string dos_program = "\x0E\x1F\xBA\x0E\x00\xB4\x09\xCD\x21\xB8\x01\x4C\xCD\x21"
                                    "This program cannot be run in DOS mode.\r\r\n$"s;
    const std::string pe_header = "PE\0\0\x64\x86\3\0"s + std::string(12, '\0') + Little_Endian(240, 2) +
                                  Little_Endian(library ? 0x2022 : 0x0022, 2) + Little_Endian(0x20B, 2) +
                                  std::string(66, '\0') + Little_Endian(3, 2) + std::string(400, '\0');
    std::string program = dos_header + dos_program;
    program.resize(128, '\0');
    return program + pe_header;
}

/// A cabinet with one file of three bytes, stored as they are.
std::string Cabinet() {
    const std::string name = "a.txt\0"s;
    const std::uint32_t files_offset = 36 + 8;
    const std::uint32_t data_offset = files_offset + 16 + Length(name);
    const std::string folder = Little_Endian(data_offset, 4) + Little_Endian(1, 2) + Little_Endian(0, 2);
    const std::string file = Little_Endian(3, 4) + Little_Endian(0, 4) + Little_Endian(0, 2) +
                             Little_Endian(0x5521, 2) + Little_Endian(0, 2) + Little_Endian(0x20, 2) + name;
    const std::string data = Little_Endian(0, 4) + Little_Endian(3, 2) + Little_Endian(3, 2) + "abc";
    const std::string header = "MSCF\0\0\0\0"s + Little_Endian(data_offset + Length(data), 4) + Little_Endian(0, 4) +
                               Little_Endian(files_offset, 4) + Little_Endian(0, 4) + "\3\1" + Little_Endian(1, 2) +
                               Little_Endian(1, 2) + std::string(6, '\0');
    return header + folder + file + data;
}

std::string Gzip_File() {
    return "\x1F\x8B\x08\x00\x00\x00\x00\x00\x00\x03\x4B\x4C\x4A\x06\x00\xC2\x41\x24\x35\x03\x00\x00\x00"s;
}

std::string Mp4_File(const std::string& brand, const std::string& compatible_brand) {
    return Big_Endian(24, 4) + "ftyp" + brand + Big_Endian(0x200, 4) + compatible_brand + "isom" + Big_Endian(8, 4) +
           "mdat";
}

std::string Webm_File(const std::string& document_type) {
    const std::string type_element =
        "\x42\x82" + std::string(1, static_cast<char>(0x80 + document_type.size())) + document_type;
    const std::string elements = "\x42\x86\x81\x01\x42\xF7\x81\x01\x42\xF2\x81\x04\x42\xF3\x81\x08"s + type_element +
                                 "\x42\x87\x81\x04\x42\x85\x81\x02"s;
    return "\x1A\x45\xDF\xA3" + std::string(1, static_cast<char>(0x80 + elements.size())) + elements +
           "\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s;
}

/// Frames of MPEG 1 layer III with 128 kbit/s and 44.1 kHz.
std::string Mp3_Frames() {
    return Repeated("\xFF\xFB\x90\x00"s + std::string(413, '\0'), 4);
}

std::string Open_Document(const std::string& mime_type) {
    return Zip_Archive(
        {{"mimetype", mime_type}, {"content.xml", "<?xml version=\"1.0\"?><x/>"}, {"META-INF/manifest.xml", "<x/>"}});
}

std::string Office_Open_Xml(const std::string& part) {
    return Zip_Archive({{"[Content_Types].xml", "<?xml version=\"1.0\"?><Types/>"},
                        {"_rels/.rels", "<Relationships/>"},
                        {part, "<?xml version=\"1.0\"?><x/>"},
                        {"docProps/app.xml", "<x/>"}});
}

/// The way that some writers pad the first entries, so that the third lies behind the sniffed head.
std::string Padded_Office_Open_Xml() {
    const std::string padding = "\x20\xA2\x28\x02"s + std::string(0x228, '\0');
    return Zip_Archive({{"[Content_Types].xml", std::string(400, 'x'), padding},
                        {"_rels/.rels", std::string(300, 'x'), padding},
                        {"word/document.xml", "<x/>"}});
}

std::vector<Sample_File> Make_Sample_Files() {
    const std::string xml = "text/xml";
    const std::string html = "text/html";
    const std::string ini = "text/x-ini";
    const std::string json = "application/json";
    const std::string plain = "text/plain";
    const std::string program = "application/x-msdownload";
    const std::string zip = "application/zip";
    const std::string word = "application/vnd.openxmlformats-officedocument.wordprocessingml.document";
    const std::string open_document = "application/vnd.oasis.opendocument.";
    const std::string unknown;

    return {
        // XML
        {"xml", Xml_Declaration("UTF-8") + Landscape_Body, xml},
        {"xml after blanks", "\n\t " + Xml_Declaration("UTF-8") + Landscape_Body, xml},
        {"xml with UTF-8 mark", Utf8_Mark + Xml_Declaration("UTF-8") + Landscape_Body, xml},
        {"xml in UTF-16LE", Utf16_Little_Endian_Mark + Utf16_Little_Endian(Xml_Declaration("UTF-16") + Landscape_Body),
         xml},
        {"xml in UTF-16BE", Utf16_Big_Endian_Mark + Utf16_Big_Endian(Xml_Declaration("UTF-16") + Landscape_Body), xml},
        {"xml in UTF-16LE without mark", Utf16_Little_Endian(Xml_Declaration("UTF-16LE") + Landscape_Body), xml},
        {"xml in UTF-16BE without mark", Utf16_Big_Endian(Xml_Declaration("UTF-16BE") + Landscape_Body), xml},
        {"xml without declaration", Landscape_Body, xml},
        {"xml without declaration, with UTF-8 mark", Utf8_Mark + Landscape_Body, xml},
        {"xml without declaration, in UTF-16LE", Utf16_Little_Endian_Mark + Utf16_Little_Endian(Landscape_Body), xml},
        {"xml without declaration, in UTF-16BE", Utf16_Big_Endian_Mark + Utf16_Big_Endian(Landscape_Body), xml},
        {"xml that begins with a comment", "<!-- servers of the north -->\n" + Landscape_Body, xml},
        {"xml with a document type", "<!DOCTYPE Landscape SYSTEM \"landscape.dtd\">\n" + Landscape_Body, xml},
        {"xml with name spaces", "<l:Landscape xmlns:l='urn:example:landscape' />", xml},
        {"long xml", Xml_Declaration("UTF-8") + "<L>\n" + Repeated("<S name=\"a\"/>\n", 500) + "</L>\n", xml},
        {"long xml without declaration", "<L>\n" + Repeated("<S name=\"a\"/>\n", 500) + "</L>\n", xml},
        {"svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1\" height=\"1\"><path d=\"M0 0\"/></svg>\n",
         "image/svg+xml"},
        {"svg with declaration", Xml_Declaration("UTF-8") + "<svg xmlns=\"http://www.w3.org/2000/svg\"><g/></svg>\n",
         "image/svg+xml"},

        // HTML
        {"html", Html_Page, html},
        {"html with UTF-8 mark", Utf8_Mark + Html_Page, html},
        {"html in UTF-16LE", Utf16_Little_Endian_Mark + Utf16_Little_Endian(Html_Page), html},
        {"html without document type", "<HTML><BODY>text</BODY></HTML>\n", html},
        {"html that begins with a comment", "<!-- saved -->\n<html><body>text</body></html>\n", html},
        {"html error page", "<html>\r\n<head><title>404 Not Found</title></head>\r\n<body>\r\n</body>\r\n</html>\r\n",
         html},

        // INI
        {"ini", Ini_Text, ini},
        {"ini that begins with comments", "; servers\r\n# of the north\r\n\r\n" + Ini_Text, ini},
        {"ini with UTF-8 mark", Utf8_Mark + Ini_Text, ini},
        {"ini in UTF-16LE", Utf16_Little_Endian_Mark + Utf16_Little_Endian(Ini_Text), ini},
        {"ini in UTF-16BE", Utf16_Big_Endian_Mark + Utf16_Big_Endian(Ini_Text), ini},
        {"ini in Windows-1252", "[Beschreibung]\r\nItem1=K\xF6ln\r\n", ini},
        {"long ini", "[Description]\n" + Repeated("Item1=some server\n", 300), ini},

        // JSON
        {"json object", Json_Text, json},
        {"json array", "[{\"name\": \"Orders\"}, {\"name\": \"Stock\"}]\n", json},
        {"json with UTF-8 mark", Utf8_Mark + Json_Text, json},
        {"json of full length", "[\n" + Repeated("  {\"name\": \"Orders\", \"port\": 3200},\n", 100) + "  {}\n]\n",
         json},
        {"empty json object", "{}\n", json},

        // Other text
        {"text", "Some text.\r\nMore of it.\r\n", plain},
        {"text in UTF-8", Utf8_Text, plain},
        {"text in UTF-8 with mark", Utf8_Mark + Utf8_Text, plain},
        {"text in UTF-16LE", Utf16_Little_Endian_Mark + Utf16_Little_Endian("Some text\r\n"), plain},
        {"text in UTF-16BE", Utf16_Big_Endian_Mark + Utf16_Big_Endian("Some text\r\n"), plain},
        {"text in Windows-1252", Windows_1252_Text, plain},
        {"long text", Repeated("The quick brown fox jumps over the lazy dog.\n", 100), plain},
        {"settings without section", "name=value\nother=value\n", plain},
        {"csv", "name;host;port\nOrders;host.example;3200\nStock;host.example;3201\n", plain},
        {"batch file", "@echo off\r\necho hello\r\n", plain},
        {"registry file",
         "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\Software\\Example]\r\n\"a\"=\"b\"\r\n",
         plain},
        {"rtf", "{\\rtf1\\ansi{\\fonttbl\\f0 Arial;}\\f0 text\\par}\n", "application/rtf"},

        // Documents and archives
        {"pdf", "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n1 0 obj\n<< >>\nendobj\n", "application/pdf"},
        {"postscript", "%!PS-Adobe-3.0\n%%Pages: 1\nshowpage\n", "application/postscript"},
        {"zip", Zip_Archive({{"landscape.xml", "<a/>"}}), zip},
        {"zip without entries", Zip_Archive({}), zip},
        {"docx", Office_Open_Xml("word/document.xml"), word},
        {"xlsx", Office_Open_Xml("xl/workbook.xml"),
         "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
        {"pptx", Office_Open_Xml("ppt/presentation.xml"),
         "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
        {"docx with padding", Padded_Office_Open_Xml(), zip},
        {"zip of a folder that is named word", Zip_Archive({{"word/", ""}, {"word/notes.txt", "text"}}), zip},
        {"odt", Open_Document(open_document + "text"), open_document + "text"},
        {"ods", Open_Document(open_document + "spreadsheet"), open_document + "spreadsheet"},
        {"odp", Open_Document(open_document + "presentation"), open_document + "presentation"},
        {"odg", Open_Document(open_document + "graphics"), open_document + "graphics"},
        {"epub", Open_Document("application/epub+zip"), "application/epub+zip"},
        {"jar",
         Zip_Archive(
             {{"META-INF/MANIFEST.MF", "Manifest-Version: 1.0\r\nMain-Class: A\r\n"}, {"A.class", "\xCA\xFE\xBA\xBE"}}),
         zip},
        {"gzip", Gzip_File(), "application/x-gzip"},
        {"rar 4", "Rar!\x1A\x07\x00\xCF\x90\x73\x00\x00\x0D\x00\x00\x00\x00\x00\x00\x00"s,
         "application/x-rar-compressed"},
        {"rar 5", "Rar!\x1A\x07\x01\x00\x33\x92\xB5\xE5\x0A\x01\x05\x06\x00\x05\x01\x01"s,
         "application/x-rar-compressed"},
        {"7z", "7z\xBC\xAF\x27\x1C\x00\x04"s + std::string(24, '\1'), "application/x-7z-compressed"},
        {"bzip2", "BZh91AY&SY\x19\x31\x65\x3D\x00\x00\x00\x81\x00\x02"s, "application/x-bzip2"},
        {"xz",
         "\xFD"
         "7zXZ\x00\x00\x04\xE6\xD6\xB4\x46\x00\x00\x00\x00"s,
         "application/x-xz"},
        {"cabinet", Cabinet(), "application/vnd.ms-cab-compressed"},

        // Programs, and what the cache must not make clickable
        {"windows program", Windows_Program(false), program},
        {"windows library", Windows_Program(true), program},
        {"elf program",
         "\x7F"
         "ELF\x02\x01\x01"s +
             std::string(9, '\0') + "\x02\x00\x3E\x00\x01\x00\x00\x00"s + std::string(40, '\0'),
         unknown},
        {"shortcut", "L\0\0\0\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46"s + std::string(56, '\0'), unknown},
        {"compound file", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"s + std::string(504, '\0'), unknown},
        {"compiled help", "ITSF\x03\x00\x00\x00\x60\x00\x00\x00\x01\x00\x00\x00"s + std::string(80, '\1'), unknown},
        {"shell script", "#!/bin/sh\necho hello\n", plain},

        // Images
        {"png", Png_File(), "image/png"},
        {"gif", "GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;"s, "image/gif"},
        {"old gif", "GIF87a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;"s, "image/gif"},
        {"jpeg", "\xFF\xD8\xFF\xE0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01\x00\x00\xFF\xD9"s, "image/jpeg"},
        {"bmp", Bmp_File(), "image/bmp"},
        {"icon", Icon_File(1), "image/x-icon"},
        {"cursor", Icon_File(2), "image/x-icon"},
        {"webp", Riff_File("WEBP", "VP8L" + Little_Endian(8, 4) + "\x2F\0\0\0\0\x07\x10\x11"s), "image/webp"},
        {"tiff, little endian", "II*\0"s + Little_Endian(8, 4) + std::string(16, '\0'), "image/tiff"},
        {"tiff, big endian", "MM\0*"s + Big_Endian(8, 4) + std::string(16, '\0'), "image/tiff"},
        {"avif", Mp4_File("avif", "mif1"), "image/avif"},
        {"heic", Mp4_File("heic", "mif1"), "image/heic"},

        // Audio and video
        {"wave", Wave_File(), "audio/wave"},
        {"avi", Riff_File("AVI ", "LIST" + Little_Endian(4, 4) + "hdrl"), "video/avi"},
        {"aiff", "FORM" + Big_Endian(4, 4) + "AIFF", "audio/aiff"},
        {"midi", "MThd\0\0\0\6\0\1\0\1\0\x60"s, "audio/midi"},
        {"ogg", "OggS\0\2"s + std::string(20, '\0') + "\x01\x1E\x01vorbis"s + std::string(23, '\1'), "application/ogg"},
        {"mp3 with tag", "ID3\3\0\0\0\0\0\0"s + Mp3_Frames(), "audio/mpeg"},
        {"mp3", Mp3_Frames(), "audio/mpeg"},
        {"mp4", Mp4_File("mp42", "avc1"), "video/mp4"},
        {"mp4 by a further brand", Mp4_File("isom", "mp41"), "video/mp4"},
        {"webm", Webm_File("webm"), "video/webm"},
        {"matroska", Webm_File("matroska"), unknown},

        // Nothing known
        {"binary data", "\x00\x01\x02\x03\x80\x81\x82\x83"s + std::string(100, '\x05'), unknown},
        {"text with a NUL", "text\0text\n"s, unknown},
    };
}

} // namespace

std::string Utf16_Little_Endian(const std::string& text) {
    std::string units;
    for (const char c : text) {
        units += c;
        units += '\0';
    }
    return units;
}

std::string Utf16_Big_Endian(const std::string& text) {
    std::string units;
    for (const char c : text) {
        units += '\0';
        units += c;
    }
    return units;
}

std::string Zip_Archive(const std::vector<Zip_Entry>& entries) {
    std::string archive;
    std::string directory;
    for (const Zip_Entry& entry : entries) {
        // Version, flags, method, time, date, checksum, both sizes, length of the name.
        const std::string common = "\x14\0\0\0\0\0\0\0\x21\0"s + Little_Endian(Crc32(entry.contents), 4) +
                                   Little_Endian(Length(entry.contents), 4) + Little_Endian(Length(entry.contents), 4) +
                                   Little_Endian(Length(entry.name), 2);
        directory += "PK\1\2\x14\0"s + common + std::string(12, '\0') + Little_Endian(Length(archive), 4) + entry.name;
        archive +=
            "PK\3\4"s + common + Little_Endian(Length(entry.extra), 2) + entry.name + entry.extra + entry.contents;
    }
    const auto count = static_cast<std::uint32_t>(entries.size());
    return archive + directory + "PK\5\6\0\0\0\0"s + Little_Endian(count, 2) + Little_Endian(count, 2) +
           Little_Endian(Length(directory), 4) + Little_Endian(Length(archive), 4) + Little_Endian(0, 2);
}

const std::vector<Sample_File>& Sample_Files() {
    static const std::vector<Sample_File> files = Make_Sample_Files();
    return files;
}
