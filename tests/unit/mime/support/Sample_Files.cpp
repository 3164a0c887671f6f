#include "tests/unit/mime/support/Sample_Files.h"

using namespace std::string_literals;

namespace {

std::string Little_Endian(std::size_t number, std::size_t length) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
        bytes += static_cast<char>(number >> 8 * i & 0xFF);
    }
    return bytes;
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
const std::string Declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
const std::string Ini_Text = "[Configuration]\r\nSessManNewKey=10\r\n[Server]\r\nItem1=host.example\r\n";
const std::string Html_Page =
    "<!DOCTYPE html>\n<html><head><title>Page</title></head><body><p>Text</p></body></html>\n";
const std::string Json_Text =
    "{\"landscape\": {\"version\": 1, \"services\": [{\"name\": \"Orders\", \"port\": 3200}]}}\n";

/// "Grüße und Öl" and some more, encoded with Windows-1252 and with UTF-8.
const std::string Windows_1252_Text = "Gr\xFC\xDF"
                                      "e und \xD6l, 5 \x80\r\nzweite Zeile\r\n";
const std::string Utf8_Text = "Gr\xC3\xBC\xC3\x9F"
                              "e und \xC3\x96l, 5 \xE2\x82\xAC\r\nzweite Zeile\r\n";

/// A Windows program as far as a head shows it: the DOS part, then the PE header.
std::string Windows_Program(const std::string& characteristics) {
    return "MZ\x90\0"s + std::string(56, '\0') + "\x80\0\0\0"s + std::string(64, '\0') + "PE\0\0\x64\x86\3\0"s +
           std::string(12, '\0') + "\xF0\0"s + characteristics + "\x0B\x02"s + std::string(480, '\0');
}

std::string Mp4_File(const std::string& brand, const std::string& compatible_brand) {
    return "\0\0\0\x18"s + "ftyp" + brand + "\0\0\2\0"s + compatible_brand + "isom\0\0\0\x8mdat"s;
}

std::string Webm_File(const std::string& header, const std::string& document_type) {
    return "\x1A\x45\xDF\xA3" + header + "\x42\x86\x81\x01\x42\xF7\x81\x01\x42\xF2\x81\x04\x42\xF3\x81\x08\x42\x82" +
           document_type + "\x42\x87\x81\x04\x42\x85\x81\x02\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF";
}

const std::string Icon_Picture =
    "\1\0\x10\x10\0\0\1\0\x20\0\x68\4\0\0\x16\0\0\0\x28\0\0\0\x10\0\0\0\x20\0\0\0\1\0\x20\0"s + std::string(1112, '\0');

/// Frames of MPEG 1 layer III with 128 kbit/s and 44.1 kHz.
const std::string Mp3_Frames = Repeated("\xFF\xFB\x90\x00"s + std::string(413, '\0'), 4);

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

    std::vector<Sample_File> files = {
        {"xml after blanks", "\n\t " + Declaration + Landscape_Body, xml},
        {"xml in UTF-16LE without mark", Utf16_Little_Endian(Declaration + Landscape_Body), xml},
        {"xml in UTF-16BE without mark", Utf16_Big_Endian(Declaration + Landscape_Body), xml},
        {"xml that begins with a comment", "<!-- servers of the north -->\n" + Landscape_Body, xml},
        {"xml with a document type", "<!DOCTYPE Landscape SYSTEM \"landscape.dtd\">\n" + Landscape_Body, xml},
        {"xml with name spaces", "<l:Landscape xmlns:l='urn:example:landscape' />", xml},
        {"long xml", Declaration + "<L>\n" + Repeated("<S name=\"a\"/>\n", 500) + "</L>\n", xml},
        {"long xml without declaration", "<L>\n" + Repeated("<S name=\"a\"/>\n", 500) + "</L>\n", xml},
        {"svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"1\" height=\"1\"><path d=\"M0 0\"/></svg>\n",
         "image/svg+xml"},
        {"svg with declaration", Declaration + "<svg xmlns=\"http://www.w3.org/2000/svg\"><g/></svg>\n",
         "image/svg+xml"},

        {"html without document type", "<HTML><BODY>text</BODY></HTML>\n", html},
        {"html that begins with a comment", "<!-- saved -->\n<html><body>text</body></html>\n", html},
        {"html error page", "<html>\r\n<head><title>404 Not Found</title></head>\r\n<body>\r\n</body>\r\n</html>\r\n",
         html},

        {"ini that begins with comments", "; servers\r\n# of the north\r\n\r\n" + Ini_Text, ini},
        {"ini in Windows-1252", "[Beschreibung]\r\nItem1=K\xF6ln\r\n", ini},
        {"long ini", "[Description]\n" + Repeated("Item1=some server\n", 300), ini},

        {"json array", "[{\"name\": \"Orders\"}, {\"name\": \"Stock\"}]\n", json},
        {"json of full length", "[\n" + Repeated("  {\"name\": \"Orders\", \"port\": 3200},\n", 100) + "  {}\n]\n",
         json},
        {"empty json object", "{}\n", json},

        // Other text
        {"text in UTF-8", Utf8_Text, plain},
        {"text in UTF-8 with mark", Utf8_Mark + Utf8_Text, plain},
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
        {"gzip", "\x1F\x8B\x08\0\0\0\0\0\0\x03\x4B\x4C\x4A\x06\0\xC2\x41\x24\x35\x03\0\0\0"s, "application/x-gzip"},
        {"rar 4", "Rar!\x1A\x07\x00\xCF\x90\x73\x00\x00\x0D\x00\x00\x00\x00\x00\x00\x00"s,
         "application/x-rar-compressed"},
        {"rar 5", "Rar!\x1A\x07\x01\x00\x33\x92\xB5\xE5\x0A\x01\x05\x06\x00\x05\x01\x01"s,
         "application/x-rar-compressed"},
        {"7z", "7z\xBC\xAF\x27\x1C\x00\x04"s + std::string(24, '\1'), "application/x-7z-compressed"},
        {"bzip2", "BZh91AY&SY\x19\x31\x65\x3D\x00\x00\x00\x81\x00\x02"s, "application/x-bzip2"},
        {"xz", "\xFD\x37zXZ\0\0\x04\xE6\xD6\xB4\x46\0\0\0\0"s, "application/x-xz"},
        {"cabinet", "MSCF\0\0\0\0\x5C\0\0\0\0\0\0\0\x2C\0\0\0\0\0\0\0\3\1\1\0\1\0"s + std::string(62, '\0'),
         "application/vnd.ms-cab-compressed"},

        // Programs, and what the cache must not make clickable
        {"windows program", Windows_Program("\x22\0"s), program},
        {"windows library", Windows_Program("\x22\x20"), program},
        {"elf program",
         "\x7F\x45LF\x02\x01\x01"s + std::string(9, '\0') + "\2\0\x3E\0\1\0\0\0"s + std::string(40, '\0'), unknown},
        {"shortcut", "L\0\0\0\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46"s + std::string(56, '\0'), unknown},
        {"compound file", "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"s + std::string(504, '\0'), unknown},
        {"compiled help", "ITSF\x03\x00\x00\x00\x60\x00\x00\x00\x01\x00\x00\x00"s + std::string(80, '\1'), unknown},
        {"shell script", "#!/bin/sh\necho hello\n", plain},

        // Images
        {"png", "\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\0\1\0\0\0\1\x08\0\0\0\0"s + std::string(44, '\0'), "image/png"},
        {"gif", "GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;"s, "image/gif"},
        {"old gif", "GIF87a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;"s, "image/gif"},
        {"jpeg", "\xFF\xD8\xFF\xE0\x00\x10JFIF\x00\x01\x01\x00\x00\x01\x00\x01\x00\x00\xFF\xD9"s, "image/jpeg"},
        {"bmp", "BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\1\0\0\0\1\0\0\0\1\0\x18\0"s + std::string(28, '\0'),
         "image/bmp"},
        {"icon", "\0\0\1\0"s + Icon_Picture, "image/x-icon"},
        {"cursor", "\0\0\2\0"s + Icon_Picture, "image/x-icon"},
        {"webp", "RIFF\x14\0\0\0WEBPVP8L\x08\0\0\0\x2F\0\0\0\0\x07\x10\x11"s, "image/webp"},
        {"tiff, little endian", "II*\0\x08\0\0\0"s + std::string(16, '\0'), "image/tiff"},
        {"tiff, big endian", "MM\0*\0\0\0\x08"s + std::string(16, '\0'), "image/tiff"},
        {"avif", Mp4_File("avif", "mif1"), "image/avif"},
        {"heic", Mp4_File("heic", "mif1"), "image/heic"},

        // Audio and video
        {"wave", "RIFF\x2C\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0data\x08\0\0\0"s,
         "audio/wave"},
        {"avi", "RIFF\x10\0\0\0AVI LIST\4\0\0\0hdrl"s, "video/avi"},
        {"aiff", "FORM\0\0\0\4AIFF"s, "audio/aiff"},
        {"midi", "MThd\0\0\0\6\0\1\0\1\0\x60"s, "audio/midi"},
        {"ogg", "OggS\0\2"s + std::string(20, '\0') + "\x01\x1E\x01vorbis"s + std::string(23, '\1'), "application/ogg"},
        {"mp3 with tag", "ID3\3\0\0\0\0\0\0"s + Mp3_Frames, "audio/mpeg"},
        {"mp3", Mp3_Frames, "audio/mpeg"},
        {"mp4", Mp4_File("mp42", "avc1"), "video/mp4"},
        {"mp4 by a further brand", Mp4_File("isom", "mp41"), "video/mp4"},
        {"webm", Webm_File("\x9F", "\x84webm"), "video/webm"},
        {"matroska", Webm_File("\xA3", "\x88matroska"), unknown},

        // Nothing known
        {"binary data", "\x00\x01\x02\x03\x80\x81\x82\x83"s + std::string(100, '\x05'), unknown},
        {"text with a NUL", "text\0text\n"s, unknown},
    };
    // Text in each encoding
    for (const auto& [name, contents, mime_type] : {Sample_File{"xml", Declaration + Landscape_Body, xml},
                                                    {"xml without declaration", Landscape_Body, xml},
                                                    {"html", Html_Page, html},
                                                    {"ini", Ini_Text, ini},
                                                    {"json", Json_Text, json},
                                                    {"text", "Some text.\r\nMore of it.\r\n", plain}}) {
        files.insert(files.end(),
                     {{name, contents, mime_type},
                      {name + " with UTF-8 mark", Utf8_Mark + contents, mime_type},
                      {name + " in UTF-16LE", Utf16_Little_Endian_Mark + Utf16_Little_Endian(contents), mime_type},
                      {name + " in UTF-16BE", Utf16_Big_Endian_Mark + Utf16_Big_Endian(contents), mime_type}});
    }
    return files;
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
        // Version, flags, method, time, date, no checksum, both sizes, length of the name.
        const std::string common = "\x14\0\0\0\0\0\0\0\x21\0"s + std::string(4, '\0') +
                                   Little_Endian(entry.contents.size(), 4) + Little_Endian(entry.contents.size(), 4) +
                                   Little_Endian(entry.name.size(), 2);
        directory += "PK\1\2\x14\0"s + common + std::string(12, '\0') + Little_Endian(archive.size(), 4) + entry.name;
        archive +=
            "PK\3\4"s + common + Little_Endian(entry.extra.size(), 2) + entry.name + entry.extra + entry.contents;
    }
    const std::size_t count = entries.size();
    return archive + directory + "PK\5\6\0\0\0\0"s + Little_Endian(count, 2) + Little_Endian(count, 2) +
           Little_Endian(directory.size(), 4) + Little_Endian(archive.size(), 4) + Little_Endian(0, 2);
}

const std::vector<Sample_File>& Sample_Files() {
    static const std::vector<Sample_File> files = Make_Sample_Files();
    return files;
}
