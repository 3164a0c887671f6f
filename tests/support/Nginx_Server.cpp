#include "tests/support/Nginx_Server.h"

namespace QEL::Tests {

std::string Nginx_Site::Url(const std::string& path, const std::string& host) const {
    return (tls ? "https://" : "http://") + host + ":" + std::to_string(port) + path;
}

Nginx_Server::Nginx_Server(std::vector<Nginx_Site> sites) : m_Sites(std::move(sites)) {
    const auto directory = m_Directory.Path().string();
    std::filesystem::create_directory(Files());
    std::ostringstream configuration;
    if (geteuid() == 0) {
        configuration << "user root;\n"; // else the workers could not read the files
    }
    configuration << "daemon off; master_process off; pid " << directory << "/pid; error_log " << directory
                  << "/error.log;\nevents { worker_connections 512; }\nhttp {\n"
                  << "log_format requests '$connection $request_method $request_uri $status $ssl_session_reused';\n"
                  << "access_log " << directory << "/access.log requests;\nkeepalive_requests 1000000;\n"
                  << "types { application/xml xml; text/plain txt; }\n";
    for (const auto* area : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        configuration << area << "_temp_path " << directory << "/" << area << ";\n";
    }
    for (const auto& site : m_Sites) {
        configuration << "server { listen 127.0.0.1:" << site.port << (site.tls ? " ssl" : "") << ";\nroot "
                      << Files().string() << ";\n";
        if (site.tls) {
            configuration << "ssl_certificate " << site.tls->certificate << ";\nssl_certificate_key " << site.tls->key
                          << ";\n";
            if (!site.tls->staple.empty()) {
                configuration << "ssl_stapling on; ssl_stapling_file " << site.tls->staple << ";\n";
            }
        }
        configuration << site.directives << "}\n";
    }
    configuration << "}\n";
    const auto file = m_Directory.Write("nginx.conf", configuration.str());

    m_Process = std::make_unique<Child_Process>(
        std::vector<std::string>{"nginx", "-p", directory, "-e", directory + "/error.log", "-c", file});
    for (const auto& site : m_Sites) {
        if (!Wait_For_Listener(site.port, [&] { return m_Process->Has_Ended(); })) {
            throw std::runtime_error("nginx did not start: " + Content_Of(m_Directory / "error.log"));
        }
    }
}

Nginx_Server::~Nginx_Server() = default;

std::vector<std::string> Nginx_Server::Requests(std::size_t expected) const {
    std::vector<std::string> requests;
    for (int attempt = 0; attempt == 0 || (attempt < 6000 && requests.size() < expected); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(attempt == 0 ? 0 : 5));
        requests.clear();
        std::ifstream log(m_Directory / "access.log");
        for (std::string line; std::getline(log, line);) {
            requests.push_back(line);
        }
    }
    return requests;
}

void Nginx_Server::Forget_Requests() const {
    std::filesystem::resize_file(m_Directory.Path() / "access.log", 0); // nginx appends
}

} // namespace QEL::Tests
