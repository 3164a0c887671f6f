#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace QEL::FrontEnd::Platform {

/// Whom a request is sent to. Texts that are equal mean the same server.
struct Server {
    std::string name;        ///< scheme, host and port; of a share its server
    std::string proxy;       ///< that the request goes through; empty: none
    std::string client = {}; ///< each has proxy settings of its own
};

/// What an attempt to reach a server came to.
enum class Attempt {
    Responded,        ///< the server responded, whatever it said and however that ended
    Server_Unreached, ///< no connection to the server: its name, the connection or the TLS handshake
    Proxy_Unreached,  ///< no connection to the proxy
    Silent,           ///< no response in time, connected as far as the client knows
    Failed_Otherwise, ///< nothing that says whether the next attempt costs time
};

/// The servers that lately cost time in vain, so that they do not cost it again with each request.
///
/// Every client asks Recall before it sends a request, and does not send it when there is something to recall. What
/// became of a request that was sent, it reports to Note. Remembered are
/// - no connection, where it took more than a second to fail: for all requests to that server, or through that proxy
/// - silence: for requests of the same method, because a server that hangs on HEAD may well serve GET
/// for LandscapeServerRetryAfter seconds, but at most ten times as long as the attempt took. A response makes it
/// forget, and everything is forgotten when the machine's network changes.
///
/// For any number of threads.
class Dead_Servers {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = std::function<Time()>;
    using Network = std::function<std::set<std::string>()>;

    struct Failure {
        std::uint32_t error = 0;
        std::string description; ///< one line for the user
    };

    /// What the process remembers.
    static Dead_Servers& Instance();

    /// @param network reports changes of the machine's network, see Network_State. It is asked when something is about
    ///        to be remembered or recalled, and before other requests once a second at most.
    Dead_Servers(Clock clock, Network network);

    Time Now() const { return m_Clock(); }

    /// How the request would end, with a description that says when the server was last tried, when it will be
    /// asked again and where that is configured. Nothing when it is to be sent.
    std::optional<Failure> Recall(const Server& server, const std::string& method);

    /// @param failure what the attempt ended with; of no account where the server responded.
    /// @param began when the attempt began, as Now gave it.
    void Note(const Server& server, const std::string& method, Attempt attempt, const Failure& failure, Time began);

private:
    struct Memory {
        Failure failure;
        std::string tried_at; ///< local time
        Time failed;
        Time::duration longest; ///< how long it may be remembered, whatever the configuration says

        Time End(std::chrono::seconds configured_period) const;
    };
    /// By method; under Any_Method what holds for all of them.
    using Memories = std::map<std::string, Memory>;

    /// The memory that says how such a request ends; null when there is none, or it has expired.
    const Memory* Find(const Server& server, const std::string& method, std::chrono::seconds configured_period) const;
    void Remember(const std::string& key, const std::string& method, const Failure& failure, Time began);
    void Forget(const std::string& key, const std::string& method);
    /// Forgets everything when the network is not as it was when last looked at.
    bool Has_Network_Changed();

    Clock m_Clock;
    const Network m_Network;
    std::mutex m_Mutex; ///< guards what follows
    std::set<std::string> m_Network_State;
    Time m_Network_Seen;
    Time m_Network_Changed; ///< when that was seen
    std::map<std::string, Memories> m_Servers;
};

} // namespace QEL::FrontEnd::Platform
