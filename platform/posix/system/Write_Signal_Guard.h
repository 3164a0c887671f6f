#pragma once

#include "util/Non_Copyable.h"

#include <cerrno>
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
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGPIPE);
        sigaddset(&held, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &held, &m_Old_Mask);

        // Only a signal that the host holds itself can have been pending before.
        sigset_t pending;
        sigemptyset(&pending);
        if (sigismember(&m_Old_Mask, SIGPIPE) != 0 || sigismember(&m_Old_Mask, SIGXFSZ) != 0) {
            sigpending(&pending);
        }
        sigemptyset(&m_Raised_Here);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            if (sigismember(&pending, signal) == 0) {
                sigaddset(&m_Raised_Here, signal);
            }
        }
    }

    ~Write_Signal_Guard() {
        const int error = errno; // of the write, for the caller
        const timespec no_wait{};
        while (sigtimedwait(&m_Raised_Here, nullptr, &no_wait) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &m_Old_Mask, nullptr);
        errno = error;
    }

private:
    sigset_t m_Raised_Here{}; ///< those that were not pending before
    sigset_t m_Old_Mask{};
};

} // namespace QEL::FrontEnd::Platform
