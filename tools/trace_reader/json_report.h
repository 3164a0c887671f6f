#pragma once

#include "tools/trace_reader/overview.h"
#include "tools/trace_reader/text_report.h"

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Writes what a trace tells for programs: one object, with the calls in order.
void Write_Json_Report(const Trace& trace, const Overview& overview, const Line_Sink& write);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
