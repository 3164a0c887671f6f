// Processes that trace at the same time to one place. Each has a trace file of its own; where none can
// be opened, all of them write to the standard error stream, which they may share.

#include "tests/faults/support/Amount.h"
#include "tests/faults/support/Document.h"
#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/User_Configuration.h"

#include <gtest/gtest.h>

using namespace QEL::Tests;

namespace {

using std::chrono::steady_clock;

const std::string Holder_Died = "ERROR: QELPCTRC, lock holder died";

class Two_Processes : public testing::Test {
protected:
    Child_Process Writer(int process, int lines) const {
        auto command =
            Beside_The_Tests("trace_process", {std::to_string(process), std::to_string(lines), Ready_File(process)});
        command.insert(command.begin(), {"sh", "-c", R"(exec "$0" "$@" 2>> )" + output});
        return Child_Process(command);
    }

    /// A process creates its file when it is about to write.
    std::string Ready_File(int process) const { return directory / std::to_string(process); }

    /// What all processes wrote, line by line, without the writers' headers.
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        std::ifstream file(output);
        for (std::string line; std::getline(file, line);) {
            const bool is_header = line.empty() || line.starts_with("** ") || line.starts_with("****");
            if (!is_header) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    /// Counts the whole lines of each thread, which must come in order. @return those that are not.
    std::vector<std::string> Count_Whole_Lines(const std::vector<std::string>& lines) {
        std::vector<std::string> others;
        for (const std::string& line : lines) {
            int process = 0;
            int thread = 0;
            int number = 0;
            const bool is_read = std::sscanf(line.c_str(), "***ERROR***: process %d thread %d line %d ", &process,
                                             &thread, &number) == 3;
            if (is_read && line == "***ERROR***: " + Trace_Line(process, thread, number) &&
                whole_lines[{process, thread}] == number) {
                ++whole_lines[{process, thread}];
            } else {
                others.push_back(line);
            }
        }
        return others;
    }

    const Scratch_Directory directory;
    const std::string output = directory / "standard_error";
    std::map<std::pair<int, int>, int> whole_lines; ///< by process and thread

private:
    const Environment_Variable m_No_Trace_File{"QEL_TRACE_DIR", (directory / "missing").c_str()};
};

TEST_F(Two_Processes, TearNoLine) {
    const int lines = Amount("QEL_TRACE_LINES", 20000, 4) / 4; // of each of four threads
    {
        Child_Process first = Writer(1, lines);
        Child_Process second = Writer(2, lines);
        EXPECT_EQ(first.Wait(), 0);
        EXPECT_EQ(second.Wait(), 0);
    }
    const auto others = Count_Whole_Lines(Lines());
    EXPECT_TRUE(others.empty()) << others.size() << " torn lines, such as:\n" << others.front();
    RecordProperty("lines", 4 * lines);
    for (const int process : {1, 2}) {
        for (const int thread : {0, 1}) {
            EXPECT_EQ((whole_lines[{process, thread}]), lines);
        }
    }
}

/// A message is more than one write, so the one that the dead process was writing may be cut.
TEST_F(Two_Processes, SurviveEachOthersDeathInTheMiddleOfALine) {
    constexpr int lines = 1000;
    constexpr int least_rounds = 15;
    int rounds = 0;
    std::mt19937 random(std::random_device{}());
    std::size_t deaths = 0;
    std::size_t cut_lines = 0;
    // A few rounds may happen to kill nobody who holds the lock; then there are more.
    for (; !HasFailure() && (rounds < least_rounds || (deaths == 0 && rounds < 10 * least_rounds)); ++rounds) {
        std::filesystem::remove(output);
        std::filesystem::remove(Ready_File(1));
        whole_lines.clear();
        Child_Process victim = Writer(1, 0);
        Child_Process survivor = Writer(2, lines);

        // Mostly while it writes, sometimes while it begins to.
        if (std::uniform_int_distribution<>(0, 4)(random) > 0) {
            ASSERT_TRUE(Wait_Until([this] { return std::filesystem::exists(Ready_File(1)); }));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<>(0, 40000)(random)));
        EXPECT_EQ(victim.Kill(), Child_Process::Killed) << "it ended by itself";
        const auto begin = steady_clock::now();
        EXPECT_EQ(survivor.Wait(), 0);
        EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(20)) << "it waited for the dead";

        // Each of the dead process's two threads may have died with the lock, the second when it had
        // just got it from the first. Whoever comes next says so, on the line that was cut; nobody
        // does when the survivor was done before.
        const auto all_lines = Lines();
        const auto others = Count_Whole_Lines(all_lines);
        std::size_t died = 0;
        for (const std::string& line : others) {
            EXPECT_TRUE(line.ends_with(Holder_Died) || line == all_lines.back()) << line;
            died += line.ends_with(Holder_Died) ? 1 : 0;
            cut_lines += line == Holder_Died ? 0 : 1;
        }
        EXPECT_LE(died, 2U);
        EXPECT_LE(others.size(), died + 1);
        deaths += died;
        EXPECT_EQ((whole_lines[{2, 0}]), lines);
        EXPECT_EQ((whole_lines[{2, 1}]), lines);
    }
    std::cout << rounds << " writers killed, " << deaths << " deaths with the lock, " << cut_lines << " lines cut\n";
    EXPECT_GT(deaths, 0U);
}

} // namespace
