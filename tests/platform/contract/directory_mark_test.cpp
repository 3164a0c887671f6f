// Marks on directories, as other processes see them.

#include "tests/support/Scratch_Directory.h"
#include "util/Directory_Mark.h"
#include "util/Non_Copyable.h"
#include "util/Process.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

namespace QEL::Tests {

namespace {

using namespace FrontEnd::Util::FileSystem;
using namespace testing;

bool Appears(const std::string& path) {
    for (int attempt = 0; attempt < 6000; ++attempt) {
        if (std::filesystem::exists(path)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

/// Another process that marks a directory from the object's creation until it is to end.
class Other_Process : private FrontEnd::Util::Non_Copyable {
public:
    explicit Other_Process(const std::string& directory, const std::string& end = "release") {
        const std::filesystem::path program = FrontEnd::Util::Program_Path();
        const std::string marker =
            (program.parent_path() / ("directory_marker" + program.extension().string())).make_preferred().string();
        std::string command = '"' + marker + "\" \"" + directory + "\" \"" + m_Scratch / "ready" + "\" \"" +
                              m_Scratch / "end" + "\" " + end;
#ifdef _WIN32
        command = '"' + command + '"'; // the command interpreter takes away the outer ones
#endif
        m_Runner = std::thread([command] { EXPECT_EQ(std::system(command.c_str()), 0); });
        EXPECT_TRUE(Appears(m_Scratch / "ready"));
    }
    ~Other_Process() {
        End();
    }

    void End() {
        if (m_Runner.joinable()) {
            m_Scratch.Write("end");
            m_Runner.join();
        }
    }

private:
    Scratch_Directory m_Scratch;
    std::thread m_Runner;
};

class Directory_Marks : public testing::Test {
protected:
    Scratch_Directory scratch;
    const std::string directory = scratch.Make_Directory("cache");
};

TEST_F(Directory_Marks, AreNoneAtFirst) {
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, OfThisProcessDoNotCount) {
    const Directory_Mark mark(directory);
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, OfAnotherProcessNameIt) {
    const Other_Process other(directory);
    EXPECT_THAT(Other_Processes_On(directory),
                ElementsAre(Field(&Marking_Process::program, StartsWith("directory_marke"))));
}

TEST_F(Directory_Marks, OfSeveralProcessesAreAllSeen) {
    const Directory_Mark own(directory);
    const Other_Process one(directory);
    const Other_Process another(directory);
    EXPECT_THAT(Other_Processes_On(directory), SizeIs(2));
}

TEST_F(Directory_Marks, AreSeenHoweverTheDirectoryIsWritten) {
    const Other_Process other(directory);
    EXPECT_THAT(Other_Processes_On(scratch / "." + "/../" + std::filesystem::path(scratch.Path()).filename().string() +
                                   "/cache"),
                SizeIs(1));
}

TEST_F(Directory_Marks, AreOfOneDirectoryAlone) {
    const Other_Process other(scratch.Make_Directory("another"));
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, EndWithTheirObject) {
    Other_Process other(directory);
    other.End();
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, EndWithAProcessThatDies) {
    Other_Process other(directory, "die");
    other.End();
    EXPECT_THAT(Other_Processes_On(directory), IsEmpty());
}

TEST_F(Directory_Marks, OnAMissingDirectoryChangeNothing) {
    const Directory_Mark mark(scratch / "missing");
    EXPECT_THAT(Other_Processes_On(scratch / "missing"), IsEmpty());
    EXPECT_THAT(scratch.Names(), ElementsAre("cache"));
}

TEST_F(Directory_Marks, WriteNoFile) {
    const Directory_Mark mark(directory);
    const Other_Process other(directory);
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

} // namespace

} // namespace QEL::Tests
