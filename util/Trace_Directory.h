#pragma once

#include <array>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

/// A buffer for a directory path and its terminating zero.
using Directory_Buffer = std::array<char, 260>;

/// Empties the buffer.
void InitBuffer(Directory_Buffer& buffer);

/// Fills the buffer with the configured trace directory: environment QEL_TRACE_DIR, else the value
/// "TraceDirectory" of the configuration.
/// @return nonzero when there is one; 0 when none is configured or it does not fit.
int InitTraceDir(Directory_Buffer& buffer);

/// Where the trace directory is configured, for people: the environment variable, a file, or
/// a registry key; empty when it is not configured.
std::string Trace_Directory_Source();

} // namespace QEL::FrontEnd::Util::Tracing
