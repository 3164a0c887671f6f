// Marks on directories, as other processes see them.

#include "tests/support/Marking_Process.h"
#include "util/Directory_Mark.h"

#include <gmock/gmock.h>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Util::FileSystem;
using namespace testing;

class Directory_Marks : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::string directory = scratch.Make_Directory("cache");
};

TEST_F(Directory_Marks, AreNoneAtFirstAndThoseOfThisProcessDoNotCount) {
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
    const Directory_Mark mark(directory);
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, OfOtherProcessesNameThemAndAreAllSeen) {
    const Directory_Mark own(directory); // which writes no file
    const Other_Marking_Process one(directory);
    const auto is_named = Field(&Marking_Process::program, StartsWith("other_process"));
    EXPECT_THAT(Other_Processes_On(directory), ElementsAre(is_named));
    const Other_Marking_Process another(directory);
    EXPECT_THAT(Other_Processes_On(directory), ElementsAre(is_named, is_named));
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(Directory_Marks, AreOfOneDirectoryHoweverItIsWritten) {
    const Other_Marking_Process other(directory);
    EXPECT_THAT(Other_Processes_On(scratch / "." + "/../" + std::filesystem::path(scratch.Path()).filename().string() +
                                   "/cache"),
                SizeIs(1));
    EXPECT_THAT(Other_Processes_On(scratch.Make_Directory("another")), IsEmpty());
}

TEST_F(Directory_Marks, EndWithTheirObjectOrProcess) {
    for (const char* const end : {"release", "die"}) {
        Other_Marking_Process other(directory, end);
        other.End();
        EXPECT_THAT(Other_Processes_On(directory), IsEmpty()) << end;
    }
}

TEST_F(Directory_Marks, OnAMissingDirectoryChangeNothing) {
    const Directory_Mark mark(scratch / "missing");
    EXPECT_THAT(Other_Processes_On(scratch / "missing"), IsEmpty());
    EXPECT_THAT(scratch.Names(), ElementsAre("cache"));
}

} // namespace

} // namespace QEL::Tests
