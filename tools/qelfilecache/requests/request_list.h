#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// The requests of a list, each once.
struct Request_List {
    std::vector<std::string> requests; ///< in the list's order
    std::size_t repeated = 0;          ///< how many lines ask for what an earlier one asks for
};

/// Reads one request a line. Blanks around it do not count; blank lines and lines that begin with #
/// are passed over; the line ends of every platform and a byte order mark are understood.
Request_List Read_Request_List(std::istream& list);

} // namespace QEL::FrontEnd::Tool
