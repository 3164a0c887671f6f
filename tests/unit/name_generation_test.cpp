#include "tests/unit/support/Cache_Fixture.h"

using namespace Recorded_Trace;
using testing::IsEmpty;

namespace {

const std::string s_no_detector = ": MIME Magic is not initialized. Unexpected internal state.\n";
const std::string s_type = "= named_from_type < Filter_Dangerous\n";
const std::string s_type_filtered = s_type + "D Filter_Dangerous_Extensions: CALL(extension='{extension}')\n"
                                             "D Filter_Dangerous_Extensions: return value:(.cached)\n"
                                             "D Generate_Cached_File_Name_from_Mime_Type: return value:({copy})\n";
const std::string s_type_by_default =
    s_type + "D Generate_Cached_File_Name_from_Mime_Type: Could not get an extension for MIME type '{type}'. "
             "Defaulting to '.cached'\nD Generate_Cached_File_Name_from_Mime_Type: return value:({copy})\n";
const std::string s_type_undetected = s_type + "D ---- BUG ----\nE Generate_Cached_File_Name_from_Mime_Type" +
                                      s_no_detector +
                                      "D Generate_Cached_File_Name_from_Mime_Type: return value:({copy})\n";
const std::string s_contents = "= named_from_contents < mime_type2\n";
const std::string s_contents_end = "D Generate_Cached_File_Name_from_Contents: return value:({copy})\n";
const std::string s_contents_undetected = s_contents + "D ---- BUG ----\nE Generate_Cached_File_Name_from_Contents" +
                                          s_no_detector + s_type_undetected + s_contents_end;
const std::string s_share = "= named_from_share < Filter_Dangerous\n";
const std::string s_share_end = "D Generate_Cached_File_Name_from_File_Share: return value:({copy})\n";

const std::string s_file = "\\\\server\\share.d\\landscape";
const std::string s_unknown = "Get_Extension_From_Mime_Type(x/y) ";
const std::string s_text = "Get_Extension_From_Mime_Type(text/plain) ";
const std::string s_xml = "Get_Extension_From_Mime_Type(text/xml) ";
const std::string s_none = "Get_Extension_From_Mime_Type() ";
const std::string s_typed_file = "Get_Mime_Type_For_File(" + s_file + ") ";

enum class From { Type, Contents, Share };

/// A name that is made: of what, and what becomes of it.
struct Named {
    From from;
    std::string asked;   ///< the type, or the path on the share
    std::string sniffed; ///< the type that contents or file are found to be of
    bool has_detector;
    std::string extension;   ///< of the name
    std::string magic_calls; ///< each with a blank behind it
    std::string records;
    std::string type = asked; ///< the one that decides
};

const Named s_names[] = {
    // A type's extension follows the UUID. One without gets the default one, a dangerous one is replaced.
    {From::Type, "text/plain", "", true, ".txt", s_text, "= named_from_type"},
    {From::Type, "x/y", "", true, ".cached", s_unknown, s_type_by_default},
    {From::Type, "", "", true, ".cached", s_none, s_type_by_default},
    {From::Type, "x/empty", "", true, ".cached", "Get_Extension_From_Mime_Type(x/empty) ", s_type_by_default},
    {From::Type, "x/.exe", "", true, ".cached", "Get_Extension_From_Mime_Type(x/.exe) ", s_type_filtered},
    {From::Type, "x/.EXE", "", true, ".cached", "Get_Extension_From_Mime_Type(x/.EXE) ", s_type_filtered},
    {From::Type, "x/.Exe", "", true, ".cached", "Get_Extension_From_Mime_Type(x/.Exe) ", s_type_filtered},
    {From::Type, "text/plain", "", false, ".cached", "", s_type_undetected},
    // The declared type decides without a look at the contents; contents of no declared type are sniffed.
    {From::Contents, "text/plain", "text/xml", true, ".txt", s_text, "= named_from_contents"},
    {From::Contents, "x/y", "text/xml", true, ".cached", s_unknown,
     "= named_from_contents < Generate_Cached_File_Name_from_Mime_Type\n" + s_type_by_default + s_contents_end},
    {From::Contents, "", "text/xml", true, ".xml", "Get_Mime_Type_For_Data(some contents) " + s_xml,
     "= named_from_contents", "text/xml"},
    {From::Contents, "", "", true, ".cached", "Get_Mime_Type_For_Data(some contents) " + s_none,
     "= named_from_contents < Generate_Cached_File_Name_from_Mime_Type\n" + s_type_by_default + s_contents_end},
    {From::Contents, "text/plain", "text/xml", false, ".cached", "", s_contents_undetected},
    {From::Contents, "", "text/xml", false, ".cached", "", s_contents_undetected},
    // A share's own extension decides without detector and a look at the file.
    {From::Share, "\\\\server\\share\\Landscape.XML", "text/plain", false, ".XML", "", "= named_from_share", "XML"},
    {From::Share, "\\\\server\\share\\run.BAT", "text/plain", true, ".cached", "",
     s_share +
         "D Filter_Dangerous_Extensions: CALL(extension='.BAT')\n"
         "D Filter_Dangerous_Extensions: return value:(.cached)\n" +
         s_share_end,
     "BAT"},
    {From::Share, "\\\\server\\share\\a.with_dot", "text/plain", true, "..exe", "",
     s_share +
         "D ---- BUG ----\nE Generate_Cached_File_Name_from_File_Share: Unexpected file extension string. '.' "
         "not found in '.exe'.\nD Filter_Dangerous_Extensions: CALL(extension='..exe')\n"
         "D Filter_Dangerous_Extensions: return value:(..exe)\n" +
         s_share_end,
     ".exe"},
    // A file without extension is named after its type.
    {From::Share, s_file, "text/xml", true, ".xml", s_typed_file + s_xml, s_share + "= named_from_type\n" + s_share_end,
     "text/xml"},
    {From::Share, s_file, "", true, ".cached", s_typed_file + s_none, s_share + s_type_by_default + s_share_end, ""},
    {From::Share, s_file, "unreadable", true, ".cached", s_typed_file + s_none,
     s_share + "E Generate_Cached_File_Name_from_File_Share: Failed to open file '{url}'.\n" + s_type_by_default +
         s_share_end,
     ""},
    {From::Share, s_file, "text/xml", false, ".cached", "",
     s_share + "D ---- BUG ----\nE Generate_Cached_File_Name_from_File_Share" + s_no_detector + s_type_undetected +
         s_share_end,
     ""},
};

class Name_Generation : public Cache_Fixture {
protected:
    std::string From_Type(const std::string& mime_type) {
        return cache.Generate_Cached_File_Name_from_Mime_Type(mime_type);
    }
    std::string From_Share(const std::string& path) { return cache.Generate_Cached_File_Name_from_File_Share(path); }
    std::string From_Contents(const std::string& mime_type) {
        return cache.Generate_Cached_File_Name_from_Contents(mime_type, contents.data(), contents.size());
    }

    std::string contents = "some contents";
};

TEST_F(Name_Generation, FollowsTheTypeOrTheFilesExtension) {
    const std::string stem = "C:\\cache\\a1b2c3d4-0001-0002-0003-112233445566";
    const auto detector = cache.m_Magic;
    cache.m_Cache_Directory = "C:\\cache";
    g_services.extensions.insert({{"x/empty", ""}, {"x/.exe", ".exe"}, {"x/.EXE", ".EXE"}, {"x/.Exe", ".Exe"}});
    g_services.on_file_extension = [](const std::string& path) {
        return path.ends_with("with_dot")                 ? ".exe"
               : path == "\\\\server\\share.d\\landscape" ? ""
                                                          : path.substr(path.size() - 3);
    };
    for (const Named& named : s_names) {
        SCOPED_TRACE("name " + std::to_string(&named - s_names) + ", " + named.asked);
        Forget();
        cache.m_Magic = named.has_detector ? detector : decltype(cache.m_Magic)();
        g_services.uuids = {"a1b2c3d4-0001-0002-0003-112233445566"};
        g_services.type_for_data = g_services.type_for_file = named.sniffed;
        g_services.file_unreadable = named.sniffed == "unreadable";
        const bool is_bare = named.from == From::Share && named.asked != s_file;
        values = {{"url", named.asked},
                  {"declared", named.asked},
                  {"bare", is_bare ? named.type : ""},
                  {"type", named.from == From::Share && !named.has_detector ? "" : named.type},
                  {"contents", Address_Text(contents.data())},
                  {"size", "13"},
                  {"extension", named.asked.starts_with("x/.") ? named.asked.substr(2) : named.extension},
                  {"stem", stem},
                  {"copy", stem + named.extension}};
        EXPECT_EQ(named.from == From::Type       ? From_Type(named.asked)
                  : named.from == From::Contents ? From_Contents(named.asked)
                                                 : From_Share(named.asked),
                  stem + named.extension);
        Expect_Records(named.records);
        std::string calls;
        for (const std::string& call : g_services.magic_calls) {
            calls += call + ' ';
        }
        EXPECT_EQ(calls, named.magic_calls);
        EXPECT_THAT(os->calls, IsEmpty());
    }
}

TEST_F(Name_Generation, UuidAndDirectoryAreUsedUnchanged) {
    for (const auto& [unusual, separator] : {std::pair<std::string, std::string>{"C:\\cache\\", "\\"},
                                             {"relative", "\\"},
                                             {"", "\\"},
                                             {"/var/cache", "/"}}) {
        g_services.uuids = {"ANY Text", "ANY Text"};
        cache.m_Cache_Directory = unusual;
        EXPECT_EQ(From_Type("text/plain"), unusual + separator + "ANY Text.txt");
        EXPECT_EQ(From_Share("\\\\server\\share\\a.xml"), unusual + separator + "ANY Text.xml");
    }
}

class Extension_Filter : public Cache_Fixture {};

TEST_F(Extension_Filter, ReplacesEachDangerousExtensionInAnyLetterCaseButAsAWholeOnly) {
    for (const std::string extension :
         {".COM", ".EXE", ".BAT", ".CMD", ".VBS", ".VBE", ".JS", ".JSE", ".WSF", ".WSH", ".MSC"}) {
        std::string mixed = extension;
        mixed.back() = static_cast<char>(std::tolower(mixed.back()));
        std::string lower = extension;
        std::transform(lower.begin(), lower.end(), lower.begin(),
                       [](unsigned char letter) { return std::tolower(letter); });
        for (const std::string& written : {extension, mixed, lower}) {
            EXPECT_EQ(cache.Filter_Dangerous_Extensions(written), ".cached");
        }
        for (const std::string& near_miss :
             {extension.substr(1), "." + extension, extension + " ", extension + ".", extension + ".txt",
              extension + "x", " " + extension, "x" + extension, extension + extension}) {
            EXPECT_EQ(cache.Filter_Dangerous_Extensions(near_miss), near_miss);
        }
    }
}

TEST_F(Extension_Filter, KeepsEveryOtherExtensionAndTracesWhatBecomesOfIt) {
    for (const std::string extension :
         {"",      ".",    "..",   ".cached", ".CACHED", ".txt", ".TXT", ".Xml",     ".ini",
          ".json", ".jsx", ".j",   ".co",     ".comx",   ".scr", ".SCR", ".lnk",     ".LNK",
          ".ps1",  ".msi", ".hta", ".pif",    ".reg",    ".dll", "*",    ".\xC3\xA4"}) {
        Forget();
        EXPECT_EQ(cache.Filter_Dangerous_Extensions(extension), extension);
        values["extension"] = extension;
        values["result"] = extension.empty() ? "''" : extension;
        Expect_Records("D Filter_Dangerous_Extensions: CALL(extension='{extension}')\n"
                       "D Filter_Dangerous_Extensions: return value:({result})");
    }
}

} // namespace
