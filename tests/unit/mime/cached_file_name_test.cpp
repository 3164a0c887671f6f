// What the cache makes of every MIME type: the name of a cached file never ends in an extension that
// the shell would run as a program or script.

#include "filecache/CFileCache.h"
#include "mime/extension_table.h"
#include "tests/unit/mime/support/Sample_Files.h"

#include <gtest/gtest.h>

namespace {

using QEL::FrontEnd::FileCache::CFileCache;
using QEL::Mime::Extension_Row;
using QEL::Mime::Extension_Rows;

constexpr std::array<std::string_view, 11> Dangerous_Extensions = {".com", ".exe", ".bat", ".cmd", ".vbs", ".vbe",
                                                                   ".js",  ".jse", ".wsf", ".wsh", ".msc"};

bool Is_Dangerous(std::string_view extension) {
    return std::ranges::find(Dangerous_Extensions, extension) != Dangerous_Extensions.end();
}

class Cached_File_Name : public testing::Test {
protected:
    /// What follows the UUID.
    std::string Extension_For_Type(const std::string& mime_type) {
        return Extension_Of(m_Cache.Generate_Cached_File_Name_from_Mime_Type(mime_type));
    }

    std::string Extension_For_Contents(const std::string& contents) {
        return Extension_Of(m_Cache.Generate_Cached_File_Name_from_Contents("", contents.data(), contents.size()));
    }

private:
    static std::string Extension_Of(const std::string& cached_file) {
        constexpr std::size_t Separator_And_Uuid = 1 + 36;
        EXPECT_GT(cached_file.size(), Separator_And_Uuid);
        return cached_file.substr(std::min(Separator_And_Uuid, cached_file.size()));
    }

    CFileCache m_Cache{nullptr};
};

TEST_F(Cached_File_Name, EndsInTheExtensionOfEachTypeUnlessItIsDangerous) {
    std::size_t dangerous_types = 0;
    for (const Extension_Row& row : Extension_Rows()) {
        const bool dangerous = Is_Dangerous(row.extension);
        dangerous_types += dangerous ? 1 : 0;
        EXPECT_EQ(Extension_For_Type(std::string(row.mime_type)), dangerous ? ".cached" : row.extension)
            << row.mime_type;
    }
    // Among them text/javascript and application/x-msdownload: the check above has something to find.
    EXPECT_GE(dangerous_types, 5U);
}

TEST_F(Cached_File_Name, OfProgramsAndScriptsIsHarmless) {
    for (const std::string mime_type :
         {"application/x-msdownload", "application/x-msdos-program", "application/vnd.microsoft.portable-executable",
          "text/javascript", "application/javascript", "Application/X-MSDownload", "text/JavaScript; charset=utf-8",
          "text/plain, application/x-msdownload"}) {
        EXPECT_EQ(Extension_For_Type(mime_type), ".cached") << mime_type;
    }
}

TEST_F(Cached_File_Name, OfEachSampleFileIsNotDangerous) {
    for (const Sample_File& file : Sample_Files()) {
        const std::string extension = Extension_For_Contents(file.contents);
        EXPECT_FALSE(Is_Dangerous(extension)) << file.name << ": " << extension;
        if (file.mime_type.empty() || file.mime_type == "application/x-msdownload") {
            EXPECT_EQ(extension, ".cached") << file.name;
        }
    }
}

TEST_F(Cached_File_Name, OfLandscapeFilesHasTheirExtension) {
    const std::pair<std::string, std::string> files[] = {
        {"<?xml version=\"1.0\"?><Landscape/>", ".xml"}, {"<Landscape/>", ".xml"},
        {"[Server]\r\nItem1=host\r\n", ".ini"},          {"{\"landscape\": []}", ".json"},
        {"<!DOCTYPE html><html></html>", ".html"},       {"just text", ".txt"},
    };
    for (const auto& [contents, extension] : files) {
        EXPECT_EQ(Extension_For_Contents(contents), extension) << contents;
    }
}

} // namespace
