#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// The command that runs a program which stands beside the test program.
/// @param arguments without blanks and quotes.
std::vector<std::string> Beside_The_Tests(const std::string& program, const std::vector<std::string>& arguments);

/// A process that runs beside the test and ends with it: with the object, at the latest with the
/// test program, however that ends.
class Child_Process : private FrontEnd::Util::Non_Copyable {
public:
    /// @param command program (looked up in PATH) and arguments.
    explicit Child_Process(const std::vector<std::string>& command);
    ~Child_Process();

    /// What Kill() returns when it was what ended the process.
    static const int Killed;

    /// Ends it on the spot: no destructor, no handler, no flush.
    /// @return Killed; otherwise what the process had ended with before.
    int Kill();

    /// Waits for the end. @return the exit status, or minus the number of the signal that ended it.
    int Wait();

#ifdef _WIN32
private:
    struct State;
    std::unique_ptr<State> m_State;
#else
    /// Forks: the process runs the action and ends with its result as exit status. Where other threads of the test
    /// run meanwhile, the action allocates no memory: the sanitizers' allocator is locked for ever if one of them
    /// was just allocating.
    explicit Child_Process(const std::function<int()>& action);

    pid_t Id() const {
        return m_Id;
    }
    void Signal(int signal_number) const;
    bool Has_Ended() const;

private:
    pid_t m_Id = -1;
#endif
};

#ifndef _WIN32
/// What exec() takes: pointers to the texts, and a null pointer.
std::vector<char*> Pointers_To(const std::vector<std::string>& texts);

/// The command for a user to whom permissions apply, also when the tests run as root: then still root, so that programs
/// can be reached, but without root's way past permissions.
std::vector<std::string> With_Ordinary_Rights(std::vector<std::string> command);

/// Runs an action in a process without any special right, also when the tests run as root.
/// @return what the action returned; 200 when the rights could not be dropped.
int Run_Without_Rights(const std::function<int()>& action);
#endif

} // namespace QEL::Tests
