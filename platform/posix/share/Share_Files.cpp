#include "platform/posix/share/Share_Files.h"

#include "platform/common/Configuration.h"
#include "platform/common/Share_Access.h"
#include "platform/posix/share/Share_Agent.h"
#include "platform/posix/share/Share_Path.h"
#include "platform/posix/share/Share_Settings.h"
#include "platform/posix/system/Copy_Limits.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "util/Error_Meaning.h"
#include "util/Standard_Error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace QEL::FrontEnd::Platform {

namespace {

using Agent_Protocol::Operation;

/// The idle agents. Each has work for one caller at a time; the connections they hold are there for
/// the next request, mostly the copy that follows a stat.
class Idle_Agents {
public:
    static Idle_Agents& Instance() {
        static auto& s_agents = *new Idle_Agents; // threads may request to the end
        return s_agents;
    }

    /// An agent that runs with these settings; null when there is none.
    std::unique_ptr<Share_Agent> Take(const Share_Settings& settings) {
        std::vector<std::unique_ptr<Share_Agent>> outdated; // ends outside the lock
        const std::lock_guard lock(m_Mutex);
        while (!m_Agents.empty()) {
            auto agent = std::move(m_Agents.back());
            m_Agents.pop_back();
            if (agent->Suits(settings)) {
                return agent;
            }
            outdated.push_back(std::move(agent));
        }
        return nullptr;
    }

    void Put_Back(std::unique_ptr<Share_Agent> agent) {
        constexpr std::size_t most = 2;
        const std::lock_guard lock(m_Mutex);
        if (m_Agents.size() < most) {
            m_Agents.push_back(std::move(agent));
        }
    }

private:
    std::mutex m_Mutex;
    std::vector<std::unique_ptr<Share_Agent>> m_Agents;
};

/// Reports to the administrator what is wrong with this machine, which no error code could: on standard
/// error, each matter once.
void Complain(const std::string& matter) {
    static auto& s_mutex = *new std::mutex;
    static auto& s_known_matters = *new std::set<std::string>;
    const std::lock_guard lock(s_mutex);
    if (s_known_matters.insert(matter).second) {
        std::fprintf(Util::Standard_Error(), "qelfilecache: no access to file shares: %s\n", matter.c_str());
    }
}

/// True when an agent that had worked before is gone or lost its connection: the server was restarted
/// or the agent had ended itself meanwhile. A fresh one may do better, as long as nothing was written.
bool Is_Worth_Another_Try(const Agent_Outcome& outcome) {
    return outcome.error != Error_Success && outcome.error != Error_Semaphore_Timeout && !outcome.is_agent_good &&
           !outcome.has_moved_data;
}

Share_Outcome Ask(const Agent_Protocol::Request& request, const Share_Settings& settings, int target,
                  Share_File_Info& info) {
    const auto deadline = Share_Agent::Clock::now() + std::chrono::milliseconds(settings.timeout_ms);
    Agent_Outcome outcome;
    auto agent = Idle_Agents::Instance().Take(settings);
    if (agent) {
        outcome = agent->Ask(request, target, deadline);
    }
    if (!agent || Is_Worth_Another_Try(outcome)) {
        std::string refusal;
        agent = Share_Agent::Start(settings, refusal);
        if (!agent) {
            Complain(refusal);
            return {Error_Module_Not_Found};
        }
        outcome = agent->Ask(request, target, deadline);
    }
    if (outcome.is_agent_good) {
        Idle_Agents::Instance().Put_Back(std::move(agent));
    }
    if (outcome.response.text[0] != '\0') {
        Complain(outcome.response.text);
    }
    if (outcome.error == Error_Success) {
        info = {outcome.response.modification_time, outcome.response.attributes, outcome.response.length};
    }
    return {outcome.error, outcome.has_moved_data};
}

std::uint32_t Run(const std::string& path, Operation operation, std::uint64_t byte_limit, int target,
                  Share_File_Info& info) {
    const auto share_path = Parse_Share_Path(path);
    if (!share_path) {
        return Error_Network_Path_Not_Found;
    }
    const std::string url = To_Smb_Url(*share_path);
    const auto request = std::make_unique<Agent_Protocol::Request>();
    if (url.size() >= sizeof request->url) {
        return Error_Filename_Too_Long;
    }
    Share_Settings settings;
    std::string refusal;
    if (!Read_Share_Settings(share_path->server, settings, refusal)) {
        if (!Faults_Are_Known) {
            Complain(refusal);
        }
        Util::Unasked_Share_Server::Refuse(Util::Sentences_On_Error(Error_Bad_Configuration, {}, ": " + refusal));
        return Error_Bad_Configuration;
    }
    request->operation = operation;
    request->timeout_ms = settings.timeout_ms;
    request->byte_limit = byte_limit;
    request->largest = Largest_Copy();
    std::memcpy(request->url, url.c_str(), url.size() + 1);
    const std::uint32_t error = Ask_Server_Of(path, [&] { return Ask(*request, settings, target, info); });
    if (error == Error_Logon_Failure && settings.is_signing_required && settings.user.empty()) {
        Util::Unasked_Share_Server::Refuse(
            "The server refuses the logon: Signing is required, but without a Kerberos ticket the session is a "
            "guest's, "
            "which cannot sign. Get a ticket, name a User in [Shares] of qel.ini, or take Signing out of it.");
    }
    return error;
}

} // namespace

std::uint32_t Stat_Share_Path(const std::string& path, Share_File_Info& info) {
    return Run(path, Operation::Stat, 0, -1, info);
}

std::uint32_t Copy_Share_File(const std::string& path, int target, Share_File_Info& info) {
    return Run(path, Operation::Read, std::numeric_limits<std::uint64_t>::max(), target, info);
}

std::uint32_t Read_Share_File_Head(const std::string& path, std::size_t count, std::string& head) {
    const File_Descriptor buffer(::memfd_create("share file head", MFD_CLOEXEC));
    if (!buffer) {
        return Win32_Error_From_Errno(errno);
    }
    Share_File_Info info;
    if (const auto error = Run(path, Operation::Read, count, buffer.Get(), info); error != Error_Success) {
        return error;
    }
    return ::lseek(buffer.Get(), 0, SEEK_SET) == 0 ? Read_Some(buffer.Get(), count, head)
                                                   : std::uint32_t{Win32_Error_From_Errno(errno)};
}

} // namespace QEL::FrontEnd::Platform
