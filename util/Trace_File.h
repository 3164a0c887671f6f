#pragma once

#include <cstdio>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

/// Opens an empty trace file for writing text. Only this user can read it, and child processes do not inherit it.
///
/// It must be a plain file, existing or new. Links are not followed, pipes and devices are not waited
/// for. A file that has a second name, or on Linux belongs to another user, is not used.
/// @return null when there is no such file; the caller closes the stream.
std::FILE* Open_Trace_File(const std::string& path);

} // namespace QEL::FrontEnd::Util::Tracing
