#pragma once

#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// A file server of its own: smbd on a free port of 127.0.0.1, with its configuration, data bases and
/// logs in a temporary directory. Runs as root or as a user, and never touches the Samba of the
/// system.
///
/// Shares, all on the same directory: `share` for everyone, `staff` for the user below, `closed` for
/// nobody. A file that its owner may not write has the read-only attribute.
class Samba_Server : private FrontEnd::Util::Non_Copyable {
public:
    /// Starts the server and waits until it accepts connections.
    /// @throws std::runtime_error with the server's log when it does not.
    Samba_Server();
    ~Samba_Server();

    int Port() const { return m_Port; }

    /// The directory that the shares show.
    std::filesystem::path Files() const { return m_Directory.Path() / "files"; }

    /// `\\127.0.0.1\share\name`
    static std::string Path(const std::string& name, const std::string& share = "share");

    /// The one user: who runs the tests.
    const std::string& User() const { return m_User; }
    static constexpr const char* Password = "Sesame 1%";

    /// Ends all its processes at once, as a crash does.
    void Kill();

    /// Kills what runs and starts anew on the same port.
    void Restart() {
        Kill();
        Start();
    }

    /// Stops all its processes where they are: connections stay open and nothing responds.
    void Freeze() const { Signal_All(SIGSTOP); }
    void Thaw() const { Signal_All(SIGCONT); }

private:
    void Write_Configuration() const;
    void Start();
    void Signal_All(int signal_number) const;
    /// A command in the server's directory, with its configuration, which writes to the file "output".
    std::vector<std::string> Shell(const std::string& command) const;

    const Scratch_Directory m_Directory;
    std::string m_User;
    const int m_Port;
    std::unique_ptr<Child_Process> m_Leader; ///< of a session and process group of its own
};

} // namespace QEL::Tests
