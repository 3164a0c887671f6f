#include "tests/faults/support/Web_Documents.h"

#include "tests/faults/support/Document.h"
#include "tests/support/Web_Server.h"

#include <chrono>
#include <ctime>

namespace QEL::Tests {

class Web_Documents::Server {
public:
    Web_Server web_server;
};

Web_Documents::Web_Documents() : m_Server(std::make_unique<Server>()) {}
Web_Documents::~Web_Documents() = default;

int Web_Documents::Publish(const std::string& name) {
    const int version = ++m_Versions[name];
    const std::time_t changed = 1700000000 + ++m_Changes;
    std::tm utc{};
    ::gmtime_r(&changed, &utc);
    char stamp[64];
    std::strftime(stamp, sizeof stamp, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    m_Server->web_server.Publish("/" + name, Document_Text(name, static_cast<unsigned>(version)), stamp);
    return version;
}

int Web_Documents::Version(const std::string& name) const {
    const auto found = m_Versions.find(name);
    return found == m_Versions.end() ? 0 : found->second;
}

std::string Web_Documents::Url(const std::string& name) const {
    return m_Server->web_server.Url("/" + name);
}

} // namespace QEL::Tests
