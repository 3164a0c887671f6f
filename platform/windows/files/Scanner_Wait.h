#pragma once

#include "util/Non_Copyable.h"

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Platform {

/// How long an operation on a file waits for a program that holds the file for a moment, as virus scanners and backups
/// do: a second at most, and the operations of the process together two seconds in any minute.
class Scanner_Wait : private Util::Non_Copyable {
public:
    explicit Scanner_Wait(const std::string& path) : m_Path(path) {}

    /// Pauses when the thread's last error is that of a file in use and there is time left. False otherwise: the last
    /// error is then as before.
    bool Pause();

private:
    const std::string& m_Path;
    std::uint64_t m_Waited = 0; ///< milliseconds
};

/// Repeats an operation that answers with false and the thread's last error while another program holds the file.
/// @param path the file whose attributes tell whether access is denied for good.
template <typename Operation>
bool Outlast_Scanners(const std::string& path, const Operation& operation) {
    Scanner_Wait wait(path);
    bool succeeds = operation();
    while (!succeeds && wait.Pause()) {
        succeeds = operation();
    }
    return succeeds;
}

} // namespace QEL::FrontEnd::Platform
