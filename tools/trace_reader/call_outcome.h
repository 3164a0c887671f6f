#pragma once

#include "tools/trace_reader/Trace.h"

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Concludes from the records of a call what was asked, how it was decided, and what failed.
void Determine_Outcome(const Trace& trace, Call& call);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
