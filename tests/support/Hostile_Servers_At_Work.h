#pragma once

#include <list>
#include <vector>

#include "tests/support/Hostile_Servers.h"
#include "tests/support/Hostile_Site.h"

namespace QEL::Tests {

/// All hostile servers at work, each on a port of its own of 127.0.0.1; those that are asked in plain HTTP
/// a second time, hostile to requests for the head alone.
class Hostile_Servers_At_Work {
public:
    Hostile_Servers_At_Work();

    const std::vector<Hostile_Site>& Sites() const { return m_Sites; }

private:
    void Start(const Hostile_Server& server, const char* scheme);
    void Start_With_Good_File(const Hostile_Server& server);

    std::list<Misbehaving_Server> m_Servers;
    std::vector<Hostile_Site> m_Sites;
};

} // namespace QEL::Tests
