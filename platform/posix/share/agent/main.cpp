// The share agent: the process in which the SMB client library works for the product.
// docs/architecture.md says why it is one. The same wall keeps the library's habits away from the host (it prints,
// keeps process-wide state, changes signal handling) and its faults too.
//
// The host's side is platform/posix/share/Share_Agent.cpp; what is said over the socket is in
// Agent_Protocol.h.

#include "platform/posix/share/agent/Agent_Protocol.h"
#include "platform/posix/share/agent/Smb_Session.h"
#include "platform/posix/system/File_Descriptor.h"
#include "platform/posix/system/Win32_Error.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

using namespace QEL::FrontEnd::Platform;
using namespace QEL::FrontEnd::Platform::Agent_Protocol;

namespace {

constexpr int Host = STDIN_FILENO;

// An unused connection is not worth keeping: it may go stale behind a laptop's lid.
constexpr int Idle_Limit_Ms = 15000;

pid_t Host_Process() {
    ucred creator{};
    socklen_t size = sizeof creator;
    getsockopt(Host, SOL_SOCKET, SO_PEERCRED, &creator, &size);
    return creator.pid;
}

/// Ends this process as soon as the host hangs up or is gone, whatever the SMB client library is doing then.
void End_With_Host() {
    // A process that the host has forked may keep the other end of the socket open.
    const int process = static_cast<int>(syscall(SYS_pidfd_open, Host_Process(), 0));
    std::thread([process] {
        pollfd ends[] = {{Host, 0, 0}, {process, POLLIN, 0}};
        while (poll(ends, std::size(ends), -1) < 0) {
        }
        _exit(0);
    }).detach();
}

bool Is_Host_Socket() {
    int type = 0;
    socklen_t size = sizeof type;
    return getsockopt(Host, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_SEQPACKET;
}

/// Receives one record and the descriptor that may travel with it. False when the host hung up.
bool Receive(void* record, std::size_t size, File_Descriptor& target) {
    iovec data{record, size};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    if (recvmsg(Host, &message, MSG_CMSG_CLOEXEC) <= 0) {
        return false;
    }

    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS) {
        int descriptor = -1;
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
        target.Reset(descriptor);
    }
    return true;
}

bool Send(const Response& response) {
    return send(Host, &response, sizeof response, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof response);
}

bool Serve_Request(Smb_Session& session, const Request& request, int target) {
    session.Set_Timeout(request.timeout_ms);

    Response response;
    if (request.operation == Operation::Stat) {
        session.Stat(request.url, response);
    } else {
        const auto on_progress = [] {
            Response progress;
            progress.in_progress = true;
            Send(progress);
        };
        session.Read(request, target, on_progress, response);
    }
    return Send(response) && response.is_agent_good;
}

/// False when there has been none for long. Where the host is process 1 or a subreaper, this orphan is its child
/// and leaves only when the host is there to reap it.
bool Wait_For_Request() {
    pollfd host{Host, POLLIN, 0};
    while (poll(&host, 1, Idle_Limit_Ms) == 0) {
        if (getppid() != Host_Process()) {
            return false;
        }
    }
    return true;
}

void Serve_Host() {
    Settings settings;
    File_Descriptor target;
    if (!Receive(&settings, sizeof settings, target)) {
        return;
    }

    End_With_Host();
    std::signal(SIGXFSZ, SIG_IGN); // a write that fails says so
    Smb_Session session(settings);

    auto request = std::make_unique<Request>();
    while (Wait_For_Request() && Receive(request.get(), sizeof *request, target)) {
        if (settings.version != Version || !session.Is_Ready()) {
            Response refusal;
            refusal.error = Error_General_Failure;
            std::snprintf(refusal.text, sizeof refusal.text, "the share agent cannot start its work");
            Send(refusal);
            return;
        }
        if (!Serve_Request(session, *request, target.Get())) {
            return;
        }
        target.Reset();
    }
}

} // namespace

int main() {
    if (!Is_Host_Socket()) {
        std::fputs("qel_share_agent is started by the QEL file cache and is of no use by itself.\n", stderr);
        return 2;
    }
    close(Program_Descriptor);
    dup2(STDOUT_FILENO, STDERR_FILENO);    // what the SMB client library prints goes nowhere
    prctl(PR_SET_NAME, "qel_share_agent"); // it would be the number of that descriptor
    // The host waits for its child, and this one ends at once: the agent proper is nobody's child, so
    // the host has no process to reap later, and none that could turn up in a wait of its own.
    if (fork() != 0) {
        _exit(0);
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails
    Serve_Host();
    // No tidying up: closing files and connections in order could wait for the server once more.
    _exit(0);
}
