#pragma once

#include "tests/support/Web_Server.h"

namespace QEL::Tests {

/// How a request ends that has no response.
struct Request_Failure {
    // NOLINTNEXTLINE(google-explicit-constructor): most failures are a number alone
    Request_Failure(std::uint32_t number = 0, bool spares = false) : error(number), spares_head(spares) {}

    std::uint32_t error; ///< 0: the request has a response
    bool spares_head;    ///< the fault is in the body: a request for the head alone has a response, of status 200
};

/// A server that breaks the protocol, the connection or the caller's patience, and what its client
/// makes of it.
struct Hostile_Server {
    const char* name;
    Web_Server::Behaviour behaviour;
    Request_Failure failure; ///< of a request for the file
    long status = 0;         ///< of the response, when there is one
    const char* body = "";   ///< likewise
    const char* last_modified = "";
};

inline void PrintTo(const Hostile_Server& server, std::ostream* out) {
    *out << server.name;
}

/// Servers that are asked in plain HTTP.
extern const std::vector<Hostile_Server> Hostile_Http_Servers;

/// Servers that are asked with TLS, and none of which gets as far as a request.
extern const std::vector<Hostile_Server> Hostile_Tls_Servers;

} // namespace QEL::Tests
