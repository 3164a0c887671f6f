#pragma once

#include "tests/support/Certificates.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Non_Copyable.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>

namespace QEL::Tests {

/// The state of a server's certificate, or of its TLS.
enum class Tls_State : std::size_t {
    Good,
    Good_With_Intermediate, ///< the whole chain is sent
    Stapled_Good,
    Stapled_Outdated, ///< says "revoked", but a month ago
    Stapled_Forged,   ///< says "revoked", but signed by somebody else
    Self_Signed,
    Wrong_Name,
    Expired,
    Not_Yet_Valid,
    Unknown_Authority,
    Chain_Incomplete,
    Revoked,
    Expired_And_Self_Signed,
    Expired_And_Wrong_Name,
    Not_Yet_Valid_And_Unknown_Authority,
    Wrong_Name_And_Self_Signed,
    Old_Tls_Version, ///< good, but TLS 1.1 is the newest that the server speaks
    Count
};

/// What clients make of a state.
struct Tls_Case {
    const char* name;
    Tls_State state;
    std::uint32_t error; ///< WinInet number for a client that checks certificates; 0: it is served
    bool can_be_ignored; ///< whether a client that ignores certificate errors is served
    const char* cause;   ///< what the text for the user says
};

inline void PrintTo(const Tls_Case& tls_case, std::ostream* out) {
    *out << tls_case.name;
}

/// In the order of Tls_State.
std::span<const Tls_Case> Tls_Cases();

/// One nginx with a TLS server for each state of a certificate, all for the host good.test.
///
/// While it exists, the authority that issued the good certificates is the one that the programs of
/// this process trust. Each server serves the same files, and redirects "/to/<n>" to "/file.xml" of
/// the n-th server.
class Tls_Sites : private FrontEnd::Util::Non_Copyable {
public:
    Tls_Sites();
    ~Tls_Sites();

    std::string Url(Tls_State state, const std::string& path = "/file.xml") const {
        return m_Server->Url(path, static_cast<std::size_t>(state));
    }

    /// URL on one server that redirects to the file of another.
    std::string Url_Redirected(Tls_State from, Tls_State to) const {
        return Url(from, "/to/" + std::to_string(static_cast<std::size_t>(to)));
    }

    Nginx_Server& Server() const { return *m_Server; }

private:
    Scratch_Directory m_Directory;
    std::unique_ptr<Nginx_Server> m_Server;
};

} // namespace QEL::Tests
