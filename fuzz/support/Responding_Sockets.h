#pragma once

#include "util/Non_Copyable.h"

#include <string>
#include <vector>

namespace QEL::Fuzz {

/// The servers of a run, all of them: every connection that the process makes ends here, whatever
/// its address. Nothing leaves the process, and no port is used up.
class Responding_Sockets : private FrontEnd::Util::Non_Copyable {
public:
    /// @param responses what the connections get, one after the other; further ones get the last.
    /// @param stay_open the servers keep their side open after the response.
    Responding_Sockets(std::vector<std::string> responses, bool stay_open);
    ~Responding_Sockets();

    /// What each connection has sent, in the order in which they were made.
    std::vector<std::string> Received() const;

    /// Connects the socket to the next response.
    int Connect(int socket);

private:
    const std::vector<std::string> m_Responses;
    const bool m_Stay_Open;
    std::vector<int> m_Servers;
};

} // namespace QEL::Fuzz
