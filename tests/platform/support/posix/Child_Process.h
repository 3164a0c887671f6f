#pragma once

#include <cerrno>
#include <csignal>
#include <functional>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QEL::Tests {

/// A forked process that runs an action and ends with its result as exit status.
class Child_Process {
public:
    explicit Child_Process(const std::function<int()>& action) : m_Id(::fork()) {
        if (m_Id == 0) {
            ::_exit(action());
        }
    }
    Child_Process(const Child_Process&) = delete;
    Child_Process& operator=(const Child_Process&) = delete;
    ~Child_Process() {
        if (m_Id > 0) {
            ::kill(m_Id, SIGKILL);
            Wait();
        }
    }

    pid_t Id() const { return m_Id; }

    /// Waits for its end. @return its exit status, or the negative number of the signal that ended it.
    int Wait() {
        int status = 0;
        while (::waitpid(m_Id, &status, 0) < 0 && errno == EINTR) {
        }
        m_Id = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    int Kill() {
        ::kill(m_Id, SIGKILL);
        return Wait();
    }

private:
    pid_t m_Id;
};

/// Runs an action in a process without any special right, also when the tests run as root.
/// @return what the action returned; 200 when the rights could not be dropped.
inline int Run_Without_Rights(const std::function<int()>& action) {
    return Child_Process([&action] {
               constexpr gid_t nobody = 65534;
               if (::geteuid() == 0 &&
                   (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0)) {
                   return 200;
               }
               return action();
           })
        .Wait();
}

} // namespace QEL::Tests
