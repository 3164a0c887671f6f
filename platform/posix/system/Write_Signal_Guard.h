#pragma once

#include "util/Non_Copyable.h"

#include <csignal>
#include <ctime>
#include <initializer_list>

namespace QEL::FrontEnd::Platform {

/// Keeps the signals of failed writes from the calling thread while it exists, as their default action would end
/// the host: SIGPIPE of a connection that the server has closed, and SIGXFSZ of a file that reaches the limit of the
/// process. The disposition of the signals, which belongs to the host, stays as it is.
class Write_Signal_Guard : private Util::Non_Copyable {
public:
    Write_Signal_Guard() {
        sigset_t pending;
        sigpending(&pending);
        sigemptyset(&m_Raised_Here);
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&held, signal);
            if (sigismember(&pending, signal) == 0) {
                sigaddset(&m_Raised_Here, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &held, &m_Old_Mask);
    }

    ~Write_Signal_Guard() {
        const timespec no_wait{};
        while (sigtimedwait(&m_Raised_Here, nullptr, &no_wait) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &m_Old_Mask, nullptr);
    }

private:
    sigset_t m_Raised_Here{}; ///< those that were not pending before
    sigset_t m_Old_Mask{};
};

} // namespace QEL::FrontEnd::Platform
