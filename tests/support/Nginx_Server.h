#pragma once

#include "tests/support/Certificates.h"
#include "tests/support/Child_Process.h"
#include "tests/support/Scratch_Directory.h"
#include "tests/support/Socket.h"

namespace QEL::Tests {

/// One server of an nginx: a port of 127.0.0.1 of its own.
struct Nginx_Site {
    std::string directives;                ///< what goes into its server block
    std::optional<Server_Certificate> tls; ///< none: plain HTTP
    int port = Free_Port();

    /// URL of a path, under a host name that the tests resolve to 127.0.0.1.
    std::string Url(const std::string& path, const std::string& host = "good.test") const;
};

/// nginx on free ports of 127.0.0.1, serving the files of one directory.
class Nginx_Server {
public:
    explicit Nginx_Server(std::vector<Nginx_Site> sites);
    ~Nginx_Server();

    const Nginx_Site& Site(std::size_t number = 0) const { return m_Sites.at(number); }

    std::string Url(const std::string& path, std::size_t site = 0) const { return Site(site).Url(path); }

    /// The directory that every site serves.
    std::filesystem::path Files() const { return m_Directory.Path() / "www"; }
    void Write(const std::string& name, std::string_view content) const { m_Directory.Write("www/" + name, content); }

    /// The requests so far, one "connection method path status tls-session-reused" a line, oldest
    /// first. nginx writes them after the response has gone: waits until there are as many as given.
    std::vector<std::string> Requests(std::size_t expected) const;
    void Forget_Requests() const;

    /// Ends the server; the ports refuse connections then.
    void Stop() { m_Process.reset(); }

private:
    Scratch_Directory m_Directory;
    const std::vector<Nginx_Site> m_Sites;
    std::unique_ptr<Child_Process> m_Process;
};

} // namespace QEL::Tests
