#pragma once

#include <string>

namespace QEL::FrontEnd::Platform {

/// The value of a header as the cache keeps it: blanks for control characters, none around it.
///
/// What a server sends ends up as a line of the metadata file. A line feed would forge the next one, and
/// the byte 1A ends a file that is read as text: the entries behind it, or the whole list, would be lost.
std::string Clean_Header_Value(std::string value);

} // namespace QEL::FrontEnd::Platform
