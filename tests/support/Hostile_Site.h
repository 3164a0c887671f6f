#pragma once

#include "tests/support/Standard_Library.h"

#include <iomanip>

namespace QEL::Tests {

/// How a hostile server's response ends.
enum class Ending {
    Served,    ///< with a status of success, and whole
    Refused,   ///< with another status
    Failed,    ///< with a broken response or connection
    Timed_Out, ///< not at all: the client has to lose its patience
    Doubtful   ///< the client decides whether it was served or failed
};

/// A hostile server as its client meets it.
struct Hostile_Site {
    std::string name;
    std::string url;
    Ending head = Ending::Served; ///< of the response to a request for the head
    Ending file = Ending::Served; ///< of that to a request for the file
    std::string body;             ///< of a file that is served, or may be
};

inline void PrintTo(const Hostile_Site& site, std::ostream* out) {
    *out << site.name;
}

// As a line of text, for a client in another process.

inline std::ostream& operator<<(std::ostream& out, const Hostile_Site& site) {
    return out << site.name << ' ' << site.url << ' ' << static_cast<int>(site.head) << ' '
               << static_cast<int>(site.file) << ' ' << std::quoted(site.body) << '\n';
}

inline std::istream& operator>>(std::istream& in, Hostile_Site& site) {
    int head = 0;
    int file = 0;
    in >> site.name >> site.url >> head >> file >> std::quoted(site.body);
    site.head = static_cast<Ending>(head);
    site.file = static_cast<Ending>(file);
    return in;
}

} // namespace QEL::Tests
