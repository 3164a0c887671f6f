#pragma once

#include <array>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

/// Room for a directory path with its terminating zero.
using Directory_Buffer = std::array<char, 260>;

/// Empties the buffer.
void InitBuffer(Directory_Buffer& buffer);

/// Fills the buffer with the configured trace directory: environment QEL_TRACE_DIR, else the value
/// "TraceDirectory" of the configuration.
/// @return nonzero when there is one; 0 when none is configured or it does not fit.
int InitTraceDir(Directory_Buffer& buffer);

/// Where the trace directory is configured, for people: the variable of the environment, a file, or
/// a registry key; empty when it is nowhere.
std::string Trace_Directory_Source();

} // namespace QEL::FrontEnd::Util::Tracing
