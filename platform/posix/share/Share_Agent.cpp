#include "platform/posix/share/Share_Agent.h"

#include "platform/posix/share/Agent_Program.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QEL::FrontEnd::Platform {

namespace {

using Agent_Protocol::Request;
using Agent_Protocol::Response;

/// How the agent's process is to differ from this one.
class Spawn_Plan : private Util::Non_Copyable {
public:
    Spawn_Plan(int program, int socket, int messages) {
        ::posix_spawn_file_actions_init(&m_Actions);
        // The socket becomes its standard input. No descriptor of the host goes along, and no mounted folder stays
        // busy as its current one.
        ::posix_spawn_file_actions_adddup2(&m_Actions, socket, STDIN_FILENO);
        ::posix_spawn_file_actions_addopen(&m_Actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_adddup2(&m_Actions, messages, STDERR_FILENO); // of the loader
        ::posix_spawn_file_actions_adddup2(&m_Actions, program, Agent_Protocol::Program_Descriptor);
        ::posix_spawn_file_actions_addclosefrom_np(&m_Actions, Agent_Protocol::Program_Descriptor + 1);
        ::posix_spawn_file_actions_addchdir_np(&m_Actions, "/");

        ::posix_spawnattr_init(&m_Attributes);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&m_Attributes, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&m_Attributes, &signals);
        // Its own session: no terminal that anything could prompt on, no Ctrl-C meant for the host.
        ::posix_spawnattr_setflags(&m_Attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~Spawn_Plan() {
        ::posix_spawnattr_destroy(&m_Attributes);
        ::posix_spawn_file_actions_destroy(&m_Actions);
    }

    /// @return an errno value, 0 on success.
    int Carry_Out(std::string name, pid_t& process) const {
        char* const arguments[] = {name.data(), nullptr};
        const std::string program = "/proc/self/fd/" + std::to_string(Agent_Protocol::Program_Descriptor);
        return ::posix_spawn(&process, program.c_str(), &m_Actions, &m_Attributes, arguments, environ);
    }

private:
    posix_spawn_file_actions_t m_Actions;
    posix_spawnattr_t m_Attributes;
};

/// False when the loader cannot find the SMB client library that the program is linked to. The agent
/// detaches at once, so this waits for the start of a program and no longer.
bool Has_Found_Its_Library(pid_t process) {
    constexpr int refusal_of_the_loader = 127;
    int status = 0;
    TEMP_FAILURE_RETRY(::waitpid(process, &status, 0));
    return !WIFEXITED(status) || WEXITSTATUS(status) != refusal_of_the_loader;
}

/// What the loader has written of a library that it cannot load, behind a colon.
std::string Complaint_Of_Loader(int messages) {
    std::string text;
    ::lseek(messages, 0, SEEK_SET);
    Read_Some(messages, 1024, text);
    const auto label = text.find(": ", text.find("libraries"));
    return label == std::string::npos ? "" : text.substr(label, text.find('\n') - label);
}

void Copy_Name(char (&field)[Agent_Protocol::Max_Name], const std::string& name) {
    std::snprintf(field, sizeof field, "%s", name.c_str());
}

/// True when the socket has something to say before the deadline.
bool Wait_For_Response(int socket, Share_Agent::Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Share_Agent::Clock::now()).count();
        pollfd agent{socket, POLLIN, 0};
        const int ready = ::poll(&agent, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, 1 << 30)));
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

/// False when the agent is gone.
bool Receive(int socket, Response& response) {
    return TEMP_FAILURE_RETRY(::recv(socket, &response, sizeof response, 0)) == sizeof response;
}

} // namespace

std::unique_ptr<Share_Agent> Share_Agent::Start(const Share_Settings& settings, std::string& refusal) {
    const std::string path = Find_Agent_Program();
    const File_Descriptor program = Open_Agent_Program(path, refusal);
    if (!program) {
        return nullptr;
    }
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        refusal = std::string("no socket for the share agent: ") + std::strerror(errno);
        return nullptr;
    }
    File_Descriptor own_end(ends[0]);
    const File_Descriptor agent_end(ends[1]);
    const File_Descriptor messages(::memfd_create("messages of the loader", MFD_CLOEXEC));
    pid_t process = 0;
    if (const int error = Spawn_Plan(program.Get(), agent_end.Get(), messages.Get()).Carry_Out(path, process);
        error != 0) {
        refusal = path + ": " + std::strerror(error);
        return nullptr;
    }
    if (!Has_Found_Its_Library(process)) {
        refusal =
            "the SMB client library (package libsmbclient) cannot be loaded" + Complaint_Of_Loader(messages.Get());
        return nullptr;
    }

    std::unique_ptr<Share_Agent> agent(new Share_Agent(std::move(own_end), process, settings));
    Agent_Protocol::Settings record;
    record.port = settings.port;
    record.is_signing_required = settings.is_signing_required;
    Copy_Name(record.user, settings.user);
    Copy_Name(record.workgroup, settings.workgroup);
    Copy_Name(record.password, settings.password);
    if (!agent->Send(&record, sizeof record, -1)) {
        refusal = path + ": " + std::strerror(errno);
        return nullptr;
    }
    return agent;
}

Share_Agent::Share_Agent(File_Descriptor socket, pid_t process_group, const Share_Settings& settings)
    : m_Socket(std::move(socket)), m_Process_Group(process_group), m_Settings(settings), m_Owner(::getpid()) {}

Share_Agent::~Share_Agent() {
    if (m_Owner != ::getpid()) {
        return;
    }
    ::shutdown(m_Socket.Get(), SHUT_RDWR);
    // Orphans of process 1 and of a subreaper are theirs to reap: the agent is this process's child then.
    // It ends at once, unless a disk holds it.
    for (int attempt = 0; attempt < 100 && ::waitpid(-m_Process_Group, nullptr, WNOHANG) == 0; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1 + attempt / 5));
    }
}

bool Share_Agent::Suits(const Share_Settings& settings) const {
    return m_Settings == settings && m_Owner == ::getpid();
}

Agent_Outcome Share_Agent::Ask(const Request& request, int target, Clock::time_point deadline) {
    Agent_Outcome outcome;
    const std::size_t size = offsetof(Request, url) + std::strlen(request.url) + 1;
    if (!Send(&request, size, target)) {
        outcome.error = Error_Unexpected_Network_Error;
        return outcome;
    }
    for (;;) {
        if (!Wait_For_Response(m_Socket.Get(), deadline)) {
            outcome.error = Error_Semaphore_Timeout;
            return outcome;
        }
        if (!Receive(m_Socket.Get(), outcome.response)) {
            outcome.error = Error_Unexpected_Network_Error;
            return outcome;
        }
        if (!outcome.response.in_progress) {
            outcome.error = outcome.response.error;
            outcome.is_agent_good = outcome.response.is_agent_good;
            return outcome;
        }
        outcome.has_moved_data = true;
        deadline = Clock::now() + std::chrono::milliseconds(request.timeout_ms);
    }
}

bool Share_Agent::Send(const void* record, std::size_t size, int descriptor) const {
    iovec data{const_cast<void*>(record), size};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptor)] = {};
    if (descriptor >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof descriptor);
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    return TEMP_FAILURE_RETRY(::sendmsg(m_Socket.Get(), &message, MSG_NOSIGNAL)) == static_cast<ssize_t>(size);
}

} // namespace QEL::FrontEnd::Platform
