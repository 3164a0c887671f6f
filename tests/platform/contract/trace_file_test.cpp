// The file that a trace is written to, and what may stand in its place.

#include "tests/support/Scratch_Directory.h"
#include "util/Trace_File.h"

#include <gmock/gmock.h>

namespace QEL::Tests {

namespace {

using FrontEnd::Util::Tracing::Open_Trace_File;

class Trace_File : public testing::Test {
protected:
    Scratch_Directory scratch;

    /// Writes a line to the trace file of this name; false when there is none to write to.
    bool Writes(const std::string& name) const {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(Open_Trace_File(scratch / name), std::fclose);
        return file && std::fputs("line\n", file.get()) >= 0;
    }
};

#ifdef _WIN32
constexpr const char* Line_On_Disk = "line\r\n";
#else
constexpr const char* Line_On_Disk = "line\n";
#endif

TEST_F(Trace_File, IsMadeOrStartsAfresh) {
    scratch.Write("old.trc", "a long record of a process that ended long ago\n");
    for (const char* const name : {"new.trc", "old.trc"}) {
        EXPECT_TRUE(Writes(name));
        EXPECT_EQ(Content_Of(scratch / name), Line_On_Disk);
    }
}

TEST_F(Trace_File, IsNeitherADirectoryNorInAMissingOneNorAFileWithASecondName) {
    scratch.Make_Directory("directory.trc");
    const std::string other = scratch.Write("precious");
    std::filesystem::create_hard_link(other, scratch / "link.trc");
    for (const char* const name : {"directory.trc", "missing/new.trc", "link.trc"}) {
        EXPECT_FALSE(Writes(name)) << name;
    }
    EXPECT_EQ(Content_Of(other), "content");
}

} // namespace

} // namespace QEL::Tests
