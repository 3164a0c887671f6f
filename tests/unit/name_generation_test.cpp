#include "tests/unit/support/Cache_Fixture.h"
#include "tests/unit/support/Expected_Records.h"

#include <stdexcept>
#include <string>

using namespace Recorded_Trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string s_from_contents = "Generate_Cached_File_Name_from_Contents";
const std::string s_from_share = "Generate_Cached_File_Name_from_File_Share";
const std::string s_from_type = "Generate_Cached_File_Name_from_Mime_Type";

class Name_Generation : public Cache_Fixture {
protected:
    void SetUp() override {
        cache.m_Cache_Directory = "C:\\cache";
        g_services.uuids = {uuid};
        Forget();
    }

    std::string From_Type(const std::string& mime_type) {
        return cache.Generate_Cached_File_Name_from_Mime_Type(mime_type);
    }
    std::string From_Share(const std::string& path) { return cache.Generate_Cached_File_Name_from_File_Share(path); }
    std::string From_Contents(const std::string& mime_type) {
        return cache.Generate_Cached_File_Name_from_Contents(mime_type, contents.data(), contents.size());
    }

    /// The records of naming after a type whose extension is this one.
    Lines Named_From_Type(const std::string& mime_type, const std::string& extension) {
        values["type"] = mime_type;
        values["extension"] = extension;
        values["stem"] = buf;
        values["copy"] = buf + extension;
        return Expected("named_from_type", values);
    }
    Lines Named_From_Type_Until_Extension(const std::string& mime_type) {
        return Recorded_Trace::Before(Named_From_Type(mime_type, ""), "Filter_Dangerous_Extensions");
    }

    /// The records of naming after a type that has no extension.
    Lines Named_By_Default(const std::string& mime_type) {
        return Named_From_Type_Until_Extension(mime_type) +
               Data(s_from_type,
                    "Could not get an extension for MIME type '" + mime_type + "'. Defaulting to '.cached'\n") +
               Return(s_from_type, buf + ".cached");
    }

    /// The records of naming without a detector.
    Lines Named_Without_Detector(const std::string& mime_type) {
        return Named_From_Type_Until_Extension(mime_type) + No_Detector(s_from_type) +
               Return(s_from_type, buf + ".cached");
    }

    /// The whole sequence of naming after contents.
    void Expect_Named_From_Contents(const std::string& declared, const std::string& type,
                                    const std::string& extension) {
        Named_From_Type(type, extension);
        values["declared"] = declared;
        values["contents"] = Address_Text(contents.data());
        values["size"] = std::to_string(contents.size());
        Expect_Records("named_from_contents");
    }

    static Records Filtered(const std::string& extension, const std::string& result) {
        return Call("Filter_Dangerous_Extensions", "extension='" + extension + "'") +
               Return("Filter_Dangerous_Extensions", result);
    }

    static Records No_Detector(const std::string& method) {
        return Bug() + Error(method, "MIME Magic is not initialized. Unexpected internal state.\n");
    }

    Records Contents_Entered(const std::string& mime_type) const {
        return Call(s_from_contents, "mime_type='" + mime_type + "', file_contents=" + Address_Text(contents.data()) +
                                         ", byte_size=" + std::to_string(contents.size()));
    }

    /// The whole sequence of naming after the extension of a file on a share, and its beginning.
    Lines Named_From_Share(const std::string& path, const std::string& extension) const {
        return Expected("named_from_share", {{"url", path}, {"bare", extension}, {"copy", buf + "." + extension}});
    }
    Lines Share_Entered(const std::string& path, const std::string& extension) const {
        return Recorded_Trace::Before(Named_From_Share(path, extension), "Filter_Dangerous_Extensions");
    }

    void Without_Detector() { cache.m_Magic = {}; }

    const std::string uuid = "a1b2c3d4-0001-0002-0003-112233445566";
    const std::string buf = "C:\\cache\\a1b2c3d4-0001-0002-0003-112233445566";
    const std::string contents = "some contents";
};

// From a MIME type

TEST_F(Name_Generation, ATypesExtensionFollowsTheUuid) {
    EXPECT_EQ(From_Type("text/plain"), buf + ".txt");
    Expect_Lines(Named_From_Type("text/plain", ".txt"), All());
    EXPECT_THAT(g_services.magic_calls, ElementsAre("Get_Extension_From_Mime_Type(text/plain)"));
}

TEST_F(Name_Generation, ATypeWithoutExtensionGetsTheDefaultOneUnfiltered) {
    g_services.extensions["x/empty"] = "";
    for (const std::string mime_type : {"x/y", "", "x/empty"}) {
        Forget();
        g_services.uuids = {uuid};
        EXPECT_EQ(From_Type(mime_type), buf + ".cached");
        Expect_Lines(Named_By_Default(mime_type), All());
    }
}

TEST_F(Name_Generation, ATypesDangerousExtensionIsReplaced) {
    for (const std::string dangerous : {".exe", ".EXE", ".Exe"}) {
        Forget();
        g_services.uuids = {uuid};
        g_services.extensions["x/program"] = dangerous;
        EXPECT_EQ(From_Type("x/program"), buf + ".cached");
        Expect_Lines(Named_From_Type_Until_Extension("x/program") + Filtered(dangerous, ".cached") +
                         Return(s_from_type, buf + ".cached"),
                     All());
    }
}

TEST_F(Name_Generation, WithoutADetectorATypeGetsTheDefaultExtension) {
    Without_Detector();
    EXPECT_EQ(From_Type("text/plain"), buf + ".cached");
    Expect_Lines(Named_Without_Detector("text/plain"), All());
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
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

TEST_F(Name_Generation, EachNameIsNewAndNothingWritten) {
    g_services.uuids.clear();
    cache.m_Cache_Directory = cache_directory;
    EXPECT_NE(From_Type("text/plain"), From_Type("text/plain"));
    EXPECT_NE(From_Contents("text/plain"), From_Contents("text/plain"));
    EXPECT_NE(From_Share("\\\\server\\share\\a.xml"), From_Share("\\\\server\\share\\a.xml"));
    EXPECT_EQ(g_services.uuid_counter, 6);
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

// From contents

TEST_F(Name_Generation, TheDeclaredTypeDecidesWithoutALookAtTheContents) {
    g_services.type_for_data = "text/xml";
    EXPECT_EQ(From_Contents("text/plain"), buf + ".txt");
    Expect_Named_From_Contents("text/plain", "text/plain", ".txt");
    EXPECT_THAT(g_services.magic_calls, ElementsAre("Get_Extension_From_Mime_Type(text/plain)"));
}

TEST_F(Name_Generation, TheDeclaredTypeDecidesUnknownOrWithParametersToo) {
    g_services.type_for_data = "text/xml";
    for (const std::string declared : {"x/y", "text/xml; charset=utf-8"}) {
        Forget();
        g_services.uuids = {uuid};
        EXPECT_EQ(From_Contents(declared), buf + ".cached");
        EXPECT_THAT(g_services.magic_calls, ElementsAre("Get_Extension_From_Mime_Type(" + declared + ")"));
    }
}

TEST_F(Name_Generation, ContentsOfNoDeclaredTypeAreSniffed) {
    g_services.type_for_data = "text/xml";
    EXPECT_EQ(From_Contents(""), buf + ".xml");
    Expect_Named_From_Contents("", "text/xml", ".xml");
    EXPECT_THAT(g_services.magic_calls,
                ElementsAre("Get_Mime_Type_For_Data(some contents)", "Get_Extension_From_Mime_Type(text/xml)"));
}

TEST_F(Name_Generation, ContentsOfNoTypeAtAllGetTheDefaultExtension) {
    g_services.type_for_data = "";
    EXPECT_EQ(From_Contents(""), buf + ".cached");
    Expect_Lines(Contents_Entered("") + Data(s_from_contents, "mime_type2 = ''\n") + Named_By_Default("") +
                     Return(s_from_contents, buf + ".cached"),
                 All());
}

TEST_F(Name_Generation, NoContentsAreSniffedToo) {
    g_services.type_for_data = "text/plain";
    EXPECT_EQ(cache.Generate_Cached_File_Name_from_Contents("", contents.data(), 0), buf + ".txt");
    EXPECT_THAT(g_services.magic_calls,
                ElementsAre("Get_Mime_Type_For_Data()", "Get_Extension_From_Mime_Type(text/plain)"));
}

TEST_F(Name_Generation, WithoutADetectorContentsGetTheDefaultExtensionAndTwoErrors) {
    Without_Detector();
    for (const std::string mime_type : {"text/plain", ""}) {
        Forget();
        g_services.uuids = {uuid};
        EXPECT_EQ(From_Contents(mime_type), buf + ".cached");
        Expect_Lines(Contents_Entered(mime_type) + No_Detector(s_from_contents) + Named_Without_Detector(mime_type) +
                         Return(s_from_contents, buf + ".cached"),
                     All());
        EXPECT_THAT(g_services.magic_calls, IsEmpty());
    }
}

// From a file on a share

TEST_F(Name_Generation, ASharesOwnExtensionDecidesWithoutDetectorAndALookAtTheFile) {
    g_services.file_unreadable = true;
    Without_Detector();
    const std::string path = "\\\\server\\share\\Landscape.XML";
    EXPECT_EQ(From_Share(path), buf + ".XML");
    Expect_Lines(Named_From_Share(path, "XML"), All());
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
    EXPECT_EQ(os->calls.size(), 0U);
}

TEST_F(Name_Generation, ASharesDangerousExtensionIsReplaced) {
    const std::string path = "\\\\server\\share\\run.BAT";
    EXPECT_EQ(From_Share(path), buf + ".cached");
    Expect_Lines(Share_Entered(path, "BAT") + Filtered(".BAT", ".cached") + Return(s_from_share, buf + ".cached"),
                 All());
}

TEST_F(Name_Generation, AnExtensionThatBringsItsDotGetsASecondOne) {
    const std::string path = "\\\\server\\share\\a.exe";
    g_services.on_file_extension = [&](const std::string& asked) { return asked == path ? ".exe" : "?"; };
    EXPECT_EQ(From_Share(path), buf + "..exe");
    Expect_Lines(Share_Entered(path, ".exe") + Bug() +
                     Error(s_from_share, "Unexpected file extension string. '.' not found in '.exe'.\n") +
                     Filtered("..exe", "..exe") + Return(s_from_share, buf + "..exe"),
                 All());
}

TEST_F(Name_Generation, AFileWithoutExtensionIsNamedAfterItsType) {
    const std::string path = "\\\\server\\share.d\\landscape";
    g_services.type_for_file = "text/xml";
    EXPECT_EQ(From_Share(path), buf + ".xml");
    Expect_Lines(Share_Entered(path, "") + Named_From_Type("text/xml", ".xml") + Return(s_from_share, buf + ".xml"),
                 All());
    EXPECT_THAT(g_services.magic_calls,
                ElementsAre("Get_Mime_Type_For_File(" + path + ")", "Get_Extension_From_Mime_Type(text/xml)"));
}

TEST_F(Name_Generation, AFileWithoutExtensionAndTypeOrReadableContentsGetsTheDefaultExtension) {
    const std::string path = "\\\\server\\share\\landscape";
    g_services.type_for_file = "";
    EXPECT_EQ(From_Share(path), buf + ".cached");
    Expect_Lines(Share_Entered(path, "") + Named_By_Default("") + Return(s_from_share, buf + ".cached"), All());

    Forget();
    g_services.uuids = {uuid};
    g_services.file_unreadable = true;
    EXPECT_EQ(From_Share(path), buf + ".cached");
    Expect_Lines(Share_Entered(path, "") + Error(s_from_share, "Failed to open file '" + path + "'.\n") +
                     Named_By_Default("") + Return(s_from_share, buf + ".cached"),
                 All());
}

TEST_F(Name_Generation, WithoutADetectorAFileWithoutExtensionGetsTheDefaultOneAndTwoErrors) {
    Without_Detector();
    const std::string path = "\\\\server\\share\\landscape";
    EXPECT_EQ(From_Share(path), buf + ".cached");
    Expect_Lines(Share_Entered(path, "") + No_Detector(s_from_share) + Named_Without_Detector("") +
                     Return(s_from_share, buf + ".cached"),
                 All());
    EXPECT_THAT(g_services.magic_calls, IsEmpty());
}

TEST_F(Name_Generation, AMissingUuidIsTheCallersBusiness) {
    g_services.uuid_throws = true;
    EXPECT_THROW(From_Type("text/plain"), std::runtime_error);
    EXPECT_THROW(From_Contents("text/plain"), std::runtime_error);
    EXPECT_THROW(From_Share("\\\\server\\share\\a.xml"), std::runtime_error);
    EXPECT_THROW(From_Share("\\\\server\\share\\a"), std::runtime_error);
}

} // namespace
