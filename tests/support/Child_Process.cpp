#include "tests/support/Child_Process.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QEL::Tests {

Child_Process::Child_Process(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    m_Id = fork();
    if (m_Id < 0) {
        throw std::runtime_error("cannot start " + command.front());
    }
    if (m_Id == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        execvp(arguments.front(), arguments.data());
        _exit(127);
    }
}

Child_Process::~Child_Process() {
    if (m_Id > 0) {
        Signal(SIGTERM);
        Wait();
    }
}

void Child_Process::Signal(int signal_number) const {
    if (m_Id > 0) {
        kill(m_Id, signal_number);
    }
}

bool Child_Process::Has_Ended() const {
    siginfo_t state{};
    return m_Id < 0 ||
           (waitid(P_PID, static_cast<id_t>(m_Id), &state, WEXITED | WNOHANG | WNOWAIT) == 0 && state.si_pid == m_Id);
}

int Child_Process::Wait() {
    int status = 0;
    while (waitpid(m_Id, &status, 0) < 0 && errno == EINTR) {
    }
    m_Id = -1;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace QEL::Tests
