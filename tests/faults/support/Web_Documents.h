#pragma once

#include "tests/faults/support/Document.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// Documents on a real web server on 127.0.0.1. Each publication is the next version of its document
/// and bears a later time of change.
class Web_Documents : private FrontEnd::Util::Non_Copyable {
public:
    Web_Documents();
    ~Web_Documents();

    /// The next version; the first is 1.
    void Publish(const std::string& name) {
        const auto version = static_cast<unsigned>(++m_Versions[name]);
        Hand_Out(name, Document_Text(name, version), ++m_Changes);
    }

    /// The version that the server hands out; 0 when there is none.
    int Version(const std::string& name) const {
        const auto found = m_Versions.find(name);
        return found == m_Versions.end() ? 0 : found->second;
    }

    std::string Url(const std::string& name) const;

private:
    class Server; ///< the platform's

    /// @param change the number of the change, of all documents: their times differ
    void Hand_Out(const std::string& name, const std::string& text, int change);

    std::unique_ptr<Server> m_Server;
    std::map<std::string, int> m_Versions;
    int m_Changes = 0;
};

} // namespace QEL::Tests
