#pragma once

#include "tools/trace_reader/trace_reader.h"

namespace QEL::FrontEnd::Trace_Reading {

/// Assigns each record to a call of its thread, and finds how deep its method was in it.
void Build_Calls(Trace& trace);

/// Concludes from the records of a call what was asked, how it was decided, and what failed.
void Determine_Outcome(const Trace& trace, Call& call);

} // namespace QEL::FrontEnd::Trace_Reading
