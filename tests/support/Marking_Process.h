#pragma once

#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"

#include <gtest/gtest.h>

namespace QEL::Tests {

/// Runs a program that stands beside the tests. @return its exit status.
/// @param redirections of the streams, as the shell of every system writes them.
inline int Run_Beside_The_Tests(const std::string& program, const std::vector<std::string>& arguments,
                                const std::string& redirections = {}) {
    std::string line;
    for (const std::string& word : Beside_The_Tests(program, arguments)) {
        line += '"' + word + "\" ";
    }
    line += redirections;
#ifdef _WIN32
    return std::system(('"' + line + '"').c_str()); // the command interpreter takes away the outer ones
#else
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

/// Another process that marks a directory as in use, or holds the trace lock, from the object's creation until it is
/// to end.
class Other_Marking_Process : private FrontEnd::Util::Non_Copyable {
public:
    /// @param end "die": as a process that is killed.
    /// @param marked the directory; for the lock, how many milliseconds it is kept beyond the end
    explicit Other_Marking_Process(const std::string& marked, const std::string& end = "release",
                                   const std::string& program = "other_process")
        : m_Process(Beside_The_Tests(program, {marked, m_Scratch / "ready", m_Scratch / "end", end})) {
        EXPECT_TRUE(Wait_Until([this] { return std::filesystem::exists(m_Scratch / "ready"); }));
    }
    ~Other_Marking_Process() { End(); }

    /// Lets it end in its own time.
    void Let_Go() const { m_Scratch.Write("end"); }
    void End() {
        if (!m_Has_Ended) {
            Let_Go();
            EXPECT_EQ(m_Process.Wait(), 0);
            m_Has_Ended = true;
        }
    }

private:
    Scratch_Directory m_Scratch;
    Child_Process m_Process;
    bool m_Has_Ended = false;
};

} // namespace QEL::Tests
