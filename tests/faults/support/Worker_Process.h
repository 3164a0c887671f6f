#pragma once

#include <memory>
#include <string>
#include <vector>

namespace QEL::Tests {

/// A program that stands beside the test program, as a process of its own.
class Worker_Process {
public:
    /// @param arguments without blanks and quotes.
    Worker_Process(const std::string& program, const std::vector<std::string>& arguments);
    /// Kills it when it still runs.
    ~Worker_Process();
    Worker_Process(const Worker_Process&) = delete;
    Worker_Process& operator=(const Worker_Process&) = delete;

    /// What Kill() answers with when it was what ended the process.
    static const int Killed;

    /// Ends it on the spot: no destructor, no handler, no flush.
    /// @return Killed; otherwise what the process had ended with before: its exit status, or minus the number
    ///         of its signal.
    int Kill();

    /// Waits for its own end. @return its exit status.
    int Wait();

private:
    struct State;
    std::unique_ptr<State> m_State;
};

} // namespace QEL::Tests
