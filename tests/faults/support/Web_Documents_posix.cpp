#include "tests/faults/support/Web_Documents.h"

#include "tests/support/Web_Server.h"

namespace QEL::Tests {

class Web_Documents::Server : public Web_Server {};

Web_Documents::Web_Documents() : m_Server(std::make_unique<Server>()) {}
Web_Documents::~Web_Documents() = default;

void Web_Documents::Hand_Out(const std::string& name, const std::string& text, int change) {
    const std::time_t changed = 1700000000 + change;
    std::tm utc{};
    ::gmtime_r(&changed, &utc);
    char stamp[64];
    std::strftime(stamp, sizeof stamp, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    m_Server->Publish("/" + name, text, stamp);
}

std::string Web_Documents::Url(const std::string& name) const {
    return m_Server->Url("/" + name);
}

} // namespace QEL::Tests
