// The server is a program beside the test, see tests/windows/with_http_servers.py: it hands out the
// files of a directory.

#include "tests/faults/support/Web_Documents.h"

namespace QEL::Tests {

namespace fs = std::filesystem;

class Web_Documents::Server {
public:
    const std::string url = std::getenv("QEL_TEST_HTTP");
    const fs::path files = std::string("Z:") + std::getenv("QEL_TEST_FILES"); ///< of the machine that Wine runs on
};

Web_Documents::Web_Documents() : m_Server(std::make_unique<Server>()) {}

Web_Documents::~Web_Documents() {
    std::error_code ignored;
    for (const auto& [name, version] : m_Versions) {
        fs::remove(m_Server->files / name, ignored);
    }
}

void Web_Documents::Hand_Out(const std::string& name, const std::string& text, int change) {
    using namespace std::chrono;
    // Under another name first: the server must not hand out half of it.
    const fs::path unfinished = m_Server->files / (name + ".new");
    std::ofstream(unfinished, std::ios::binary) << text;
    fs::last_write_time(unfinished, file_clock::from_sys(sys_days{year{2023} / 11 / 1} + seconds(change)));
    fs::rename(unfinished, m_Server->files / name);
}

std::string Web_Documents::Url(const std::string& name) const {
    return m_Server->url + "/" + name;
}

} // namespace QEL::Tests
