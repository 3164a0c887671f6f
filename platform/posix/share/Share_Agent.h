#pragma once

#include "platform/posix/share/Share_Settings.h"
#include "platform/posix/share/agent/Agent_Protocol.h"
#include "platform/posix/system/File_Descriptor.h"
#include "util/Non_Copyable.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Platform {

/// How an agent's work on a request ended.
struct Agent_Outcome {
    std::uint32_t error = 0;           ///< Win32 code, 0 on success
    Agent_Protocol::Response response; ///< as far as one came
    bool has_moved_data = false;       ///< a part of the content has been written
    bool is_agent_good = false;        ///< it may be given further requests
};

/// A running share agent: the process that does the SMB client library's work (agent/main.cpp says
/// why it is one) and the connections it holds. It ends when this object goes, and at once when this
/// process does. Used by one thread at a time.
class Share_Agent : private Util::Non_Copyable {
public:
    using Clock = std::chrono::steady_clock;

    /// @param refusal why there is none; set on failure only.
    /// @return null when the process cannot be started.
    static std::unique_ptr<Share_Agent> Start(const Share_Settings& settings, std::string& refusal);
    ~Share_Agent();

    /// True when the agent was started with just these settings and by this process: one that forked
    /// off since would share the socket with its parent.
    bool Suits(const Share_Settings& settings) const;

    /// Has one request worked on. Comes back at `deadline` at the latest, where each piece of data
    /// that arrives puts the deadline off to a whole time-out from then.
    /// @param target what a read is written to; -1 for a stat.
    Agent_Outcome Ask(const Agent_Protocol::Request& request, int target, Clock::time_point deadline);

private:
    Share_Agent(File_Descriptor socket, pid_t process_group, const Share_Settings& settings);

    bool Send(const void* record, std::size_t size, int descriptor) const;

    const File_Descriptor m_Socket;
    const pid_t m_Process_Group; ///< of the agent's process alone
    const Share_Settings m_Settings;
    const pid_t m_Owner;
};

} // namespace QEL::FrontEnd::Platform
