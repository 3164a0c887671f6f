#pragma once

#include "util/Non_Copyable.h"

#include <csignal>
#include <ctime>

namespace QEL::FrontEnd::Platform {

/// Keeps SIGPIPE from the calling thread while it exists: writing to a TLS connection that the
/// server has closed raises it, and its default action would end the host. The disposition of the
/// signal, which belongs to the host, stays as it is.
class Sigpipe_Guard : private Util::Non_Copyable {
public:
    Sigpipe_Guard() {
        sigset_t pending;
        sigpending(&pending);
        m_Was_Pending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&m_Sigpipe);
        sigaddset(&m_Sigpipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_Sigpipe, &m_Old_Mask);
    }

    ~Sigpipe_Guard() {
        if (!m_Was_Pending) {
            const timespec no_wait{};
            sigtimedwait(&m_Sigpipe, nullptr, &no_wait);
        }
        pthread_sigmask(SIG_SETMASK, &m_Old_Mask, nullptr);
    }

private:
    sigset_t m_Sigpipe{};
    sigset_t m_Old_Mask{};
    bool m_Was_Pending = false;
};

} // namespace QEL::FrontEnd::Platform
