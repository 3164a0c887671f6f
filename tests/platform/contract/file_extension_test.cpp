#include "tests/support/Standard_Library.h"
#include "util/File_Extension.h"

#include <gtest/gtest.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Util::FileSystem::File_Extension;

void Expect_Extension(const std::string& extension, const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        EXPECT_EQ(File_Extension(path), extension) << path;
    }
}

TEST(Extensions, FollowTheLastDotOfTheLastComponent) {
    Expect_Extension("xml", {"file.xml", "C:\\dir.d\\file.xml", "C:file.xml", "C:.xml"});
    Expect_Extension("XmL", {"file.XmL"});
    Expect_Extension("c", {"a.b.c"});
    Expect_Extension("gz", {"file.tar.gz"});
    Expect_Extension("profile", {".profile"});
    Expect_Extension("a b", {"two words.a b"});
    Expect_Extension("txt", {"/dir.d/file.txt"});
}

TEST(Extensions, MayBeNone) {
    Expect_Extension("", {"", "file", "file.", ".", "..", "...", " ", "C:", "/", "\\", "C:\\dir.d\\file", "/dir.d/file",
                          "dir.d/", "\\\\server.example\\share\\file", "dir.d\\mixed/file", "C:file"});
}

TEST(Extensions, AreWhatTheFileSystemTakesThemForWithoutEndsAndStreams) {
    Expect_Extension("exe", {"run.exe.", "run.exe ", "run.exe. . ..", "run.exe:stream", "run.exe:stream.txt",
                             "run.exe::$DATA", "run.exe. :x.y", "C:\\dir\\run.exe:stream", "C:run.exe:stream"});
    Expect_Extension(" exe", {"run. exe"});
    Expect_Extension("txt", {"dir:x.y\\file.txt"});
    Expect_Extension("", {"file .", "file:stream.txt"});
}

} // namespace

} // namespace QEL::Tests
