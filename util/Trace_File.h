#pragma once

#include <cstdio>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

/// Opens a trace file for writing text, empty, for this user's eyes alone and not for child processes.
///
/// Only a plain file will do, an existing or a new one. A link is not followed, a pipe or device is not waited
/// for. A file that bears a second name, or on Linux belongs to another user, is left as it is.
/// @return null when there is no such file; the caller closes the stream.
std::FILE* Open_Trace_File(const std::string& path);

} // namespace QEL::FrontEnd::Util::Tracing
