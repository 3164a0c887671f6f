#pragma once

#include "tools/trace_reader/Trace.h"

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Assigns each record to a call of its thread, and tells how deep its method was in it.
void Build_Calls(Trace& trace);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
