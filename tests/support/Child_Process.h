#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace QEL::Tests {

/// A program that runs beside the test and ends with it: with the object, at the latest with the
/// test program, however that ends.
class Child_Process {
public:
    /// @param command program (looked up in PATH) and arguments.
    explicit Child_Process(const std::vector<std::string>& command);
    ~Child_Process();
    Child_Process(const Child_Process&) = delete;
    Child_Process& operator=(const Child_Process&) = delete;

    pid_t Id() const { return m_Id; }

    void Signal(int signal_number) const;

    bool Has_Ended() const;

    /// Waits for the end. @return the exit status, or minus the number of the signal that ended it.
    int Wait();

private:
    pid_t m_Id = -1;
};

} // namespace QEL::Tests
