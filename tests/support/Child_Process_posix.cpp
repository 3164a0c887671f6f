#include "tests/support/Child_Process.h"

#include <grp.h>
#include <sys/prctl.h>

namespace QEL::Tests {

std::vector<std::string> Beside_The_Tests(const std::string& program, const std::vector<std::string>& arguments) {
    const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe");
    std::vector<std::string> command = {(here.parent_path() / program).string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

std::vector<char*> Pointers_To(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const auto& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

Child_Process::Child_Process(const std::vector<std::string>& command)
    : Child_Process([arguments = Pointers_To(command)] {
          prctl(PR_SET_PDEATHSIG, SIGTERM);
          execvp(arguments.front(), arguments.data());
          return 127;
      }) {}

Child_Process::Child_Process(const std::function<int()>& action) : m_Id(fork()) {
    if (m_Id < 0) {
        throw std::runtime_error("cannot start a process");
    }
    if (m_Id == 0) {
        _exit(action());
    }
}

Child_Process::~Child_Process() {
    if (m_Id > 0) {
        Signal(SIGTERM);
        Signal(SIGCONT);
        Wait();
    }
}

const int Child_Process::Killed = -SIGKILL;

int Child_Process::Kill() {
    Signal(SIGKILL);
    return Wait();
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

std::vector<std::string> With_Ordinary_Rights(std::vector<std::string> command) {
    if (geteuid() == 0) {
        const char* const none = "-dac_override,-dac_read_search,-fowner";
        command.insert(command.begin(), {"setpriv", "--bounding-set", none, "--inh-caps", none});
    }
    return command;
}

int Run_Without_Rights(const std::function<int()>& action) {
    return Child_Process([&action] {
               constexpr gid_t nobody = 65534;
               if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) {
                   return 200;
               }
               return action();
           })
        .Wait();
}

} // namespace QEL::Tests
