#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <curl/curl.h>

#include "platform/common/Http_Request.h"
#include "util/Non_Copyable.h"

namespace QEL::FrontEnd::Platform {

/// One connection to a server, with what libcurl keeps for it: the open socket, the parsed certificate
/// authorities. Used by one thread at a time.
class Connection {
public:
    /// Null when there is no memory.
    static std::unique_ptr<Connection> Create();

    /// Makes a handle for the next exchange, with what all of them have in common. Each has one of its own: with a
    /// handle that has served one before, libcurl 7.88 uses a header that it has freed when a response begins with a
    /// folded line. False when there is no memory.
    [[nodiscard]] bool Begin_Exchange();

    /// The handle of the exchange.
    CURL* Easy() const { return m_Easy.get(); }
    CURLM* Multi() const { return m_Multi.get(); }

    /// What libcurl knows of the exchange; 0 for what it does not.
    template <typename Value>
    Value Info(CURLINFO info) const {
        Value value{};
        curl_easy_getinfo(m_Easy.get(), info, &value);
        return value;
    }

    /// What the TLS connection reports.
    struct Tls_Events {
        bool is_certificate_revoked = false; ///< the handshake ended because of that
        bool is_closed = false;              ///< the server has sent close_notify
        bool is_in_proxys_handshake = false; ///< with an HTTPS proxy, before any with the server
    };
    Tls_Events& Tls() { return m_Tls; }
    const Tls_Events& Tls() const { return m_Tls; }

private:
    Connection() = default;

    Tls_Events m_Tls; // the TLS connection knows its address

    struct Easy_Deleter {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    struct Multi_Deleter {
        void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
    };
    std::unique_ptr<CURLM, Multi_Deleter> m_Multi; // holds the socket, so it goes last
    std::unique_ptr<CURL, Easy_Deleter> m_Easy;
};

/// The idle connections of the process.
///
/// Requests come one at a time and each has an object of its own; the connections outlive them here,
/// so that the freshness check and the download that follows share one. A connection is reused only
/// for the origin that it was made to and under the same certificate check: one that was made
/// while certificate errors were ignored never serves a request that wants them checked.
/// A child of fork() has copies of its parent's connections. It neither uses nor closes them.
class Connection_Pool : private Util::Non_Copyable {
public:
    /// The pool of the process. Whoever holds it keeps it alive beyond the end of main.
    static std::shared_ptr<Connection_Pool> Instance();

    Connection_Pool();
    ~Connection_Pool();

    /// An idle connection for the origin, the most recently used one, else a new one; null when
    /// there is no memory.
    std::unique_ptr<Connection> Take(const std::string& origin, Certificate_Check check);

    /// Keeps a connection for later requests.
    void Put_Back(std::unique_ptr<Connection> connection, const std::string& origin, Certificate_Check check);

private:
    using Clock = std::chrono::steady_clock;

    struct Idle_Connection {
        std::unique_ptr<Connection> connection;
        std::string origin;
        Certificate_Check check;
        Clock::time_point since;
    };

    /// Takes out what has been idle for too long or is too much. The caller closes it outside the lock.
    std::vector<Idle_Connection> Remove_Outdated();

    /// In a child of the process that the connections belong to, lets go of them without closing them: that would tell
    /// the server that the parent's have ended.
    void Leave_To_Parent();

    std::mutex m_Mutex;
    int m_Generation;                    // of the process that the connections belong to
    std::vector<Idle_Connection> m_Idle; // the longest idle first
};

} // namespace QEL::FrontEnd::Platform
