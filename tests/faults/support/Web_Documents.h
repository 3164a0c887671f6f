#pragma once

#include "util/Non_Copyable.h"

#include <map>
#include <memory>
#include <string>

namespace QEL::Tests {

/// Documents on a real web server on 127.0.0.1. Each publication is the next version of its document
/// and bears a later time of change.
class Web_Documents : private FrontEnd::Util::Non_Copyable {
public:
    Web_Documents();
    ~Web_Documents();

    /// @return the number of the new version; the first is 1.
    int Publish(const std::string& name);

    /// The version that the server hands out; 0 when there is none.
    int Version(const std::string& name) const;

    std::string Url(const std::string& name) const;

private:
    class Server; ///< the platform's
    std::unique_ptr<Server> m_Server;
    std::map<std::string, int> m_Versions;
    int m_Changes = 0; ///< of all documents: their times differ
};

} // namespace QEL::Tests
