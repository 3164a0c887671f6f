#pragma once

#include <array>

namespace QEL::FrontEnd::Util::Tracing {

/// Room for a directory path with its terminating zero.
using Directory_Buffer = std::array<char, 260>;

/// Empties the buffer.
void InitBuffer(Directory_Buffer& buffer);

/// Fills the buffer with the configured trace directory: environment QEL_TRACE_DIR, else the value
/// "TraceDirectory" of the configuration.
/// @return nonzero when there is one; 0 when none is configured or it does not fit.
int InitTraceDir(Directory_Buffer& buffer);

} // namespace QEL::FrontEnd::Util::Tracing
