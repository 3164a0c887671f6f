#pragma once

#include <string>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// What a Win32 or WinInet error number means, such as "the server cannot be connected to"; empty
/// for one that is not known.
std::string_view Meaning_Of_Error(int number);

/// What an HTTP status means, such as "not found"; empty for one that is not known.
std::string_view Meaning_Of_Status(int status);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
