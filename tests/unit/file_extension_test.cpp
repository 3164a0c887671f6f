#include "util/File_Extension.h"

#include <gtest/gtest.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Util::FileSystem::File_Extension;

struct Extension_Case {
    const char* path;
    const char* extension;
};

class Extensions : public testing::TestWithParam<Extension_Case> {};

TEST_P(Extensions, IsWhatTheFileSystemTakesItFor) {
    EXPECT_EQ(File_Extension(GetParam().path), GetParam().extension) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(Plain, Extensions,
                         testing::Values(Extension_Case{"file.xml", "xml"}, Extension_Case{"file.XmL", "XmL"},
                                         Extension_Case{"a.b.c", "c"}, Extension_Case{".profile", "profile"},
                                         Extension_Case{"file.tar.gz", "gz"}, Extension_Case{"two words.a b", "a b"}));

INSTANTIATE_TEST_SUITE_P(None, Extensions,
                         testing::Values(Extension_Case{"", ""}, Extension_Case{"file", ""},
                                         Extension_Case{"file.", ""}, Extension_Case{".", ""}, Extension_Case{"..", ""},
                                         Extension_Case{"...", ""}, Extension_Case{" ", ""}, Extension_Case{"C:", ""},
                                         Extension_Case{"/", ""}, Extension_Case{"\\", ""}));

INSTANTIATE_TEST_SUITE_P(LastComponent, Extensions,
                         testing::Values(Extension_Case{"C:\\dir.d\\file.xml", "xml"},
                                         Extension_Case{"C:\\dir.d\\file", ""}, Extension_Case{"/dir.d/file", ""},
                                         Extension_Case{"/dir.d/file.txt", "txt"},
                                         Extension_Case{"\\\\server.example\\share\\file", ""},
                                         Extension_Case{"dir.d\\mixed/file", ""}, Extension_Case{"dir.d/", ""},
                                         Extension_Case{"C:file.xml", "xml"}, Extension_Case{"C:file", ""},
                                         Extension_Case{"C:.xml", "xml"}));

INSTANTIATE_TEST_SUITE_P(WhatTheFileSystemDrops, Extensions,
                         testing::Values(Extension_Case{"run.exe.", "exe"}, Extension_Case{"run.exe ", "exe"},
                                         Extension_Case{"run.exe. . ..", "exe"}, Extension_Case{"run. exe", " exe"},
                                         Extension_Case{"file .", ""}));

INSTANTIATE_TEST_SUITE_P(
    Streams, Extensions,
    testing::Values(Extension_Case{"run.exe:stream", "exe"}, Extension_Case{"run.exe:stream.txt", "exe"},
                    Extension_Case{"run.exe::$DATA", "exe"}, Extension_Case{"run.exe. :x.y", "exe"},
                    Extension_Case{"file:stream.txt", ""}, Extension_Case{"C:\\dir\\run.exe:stream", "exe"},
                    Extension_Case{"C:run.exe:stream", "exe"}, Extension_Case{"dir:x.y\\file.txt", "txt"}));

} // namespace

} // namespace QEL::Tests
