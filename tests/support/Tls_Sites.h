#pragma once

#include "tests/support/Certificates.h"
#include "tests/support/Nginx_Server.h"
#include "tests/support/Scratch_Directory.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// Who stands behind a certificate.
enum class Issuer { Trusted, Below_Trusted, Unknown, Itself };

/// A server's certificate, or its TLS, and what clients make of it.
struct Tls_Case {
    const char* name;
    std::uint32_t error; ///< WinInet number for a client that checks certificates; 0: it is served
    const char* cause;   ///< what the text for the user says
    Issuer issuer = Issuer::Trusted;
    Certificate_Options certificate = {};
    bool speaks_old_tls = false; ///< 1.1 is the newest version: also who ignores certificate errors is not served
};

inline void PrintTo(const Tls_Case& tls_case, std::ostream* out) {
    *out << tls_case.name;
}

std::span<const Tls_Case> Tls_Cases();

/// One nginx with a TLS server for each of the cases, all for the host good.test.
///
/// While it exists, the authority that issued the good certificates is the one that the programs of
/// this process trust. Each server serves the same files, and redirects "/to/<name>" to "/file.xml" of
/// another one.
class Tls_Sites : private FrontEnd::Util::Non_Copyable {
public:
    Tls_Sites();
    ~Tls_Sites();

    /// @param name of a case.
    std::string Url(std::string_view name, const std::string& path = "/file.xml") const;

    /// URL on one server that redirects to the file of another.
    std::string Url_Redirected(std::string_view from, std::string_view to) const {
        return Url(from, "/to/" + std::string(to));
    }

    Nginx_Server& Server() const { return *m_Server; }

private:
    Scratch_Directory m_Directory;
    std::unique_ptr<Nginx_Server> m_Server;
};

} // namespace QEL::Tests
