#pragma once

#include "tools/trace_reader/overview.h"

#include <iosfwd>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Writes the calls of each process and thread as bars: along the clock where the trace has times,
/// else in their order. Many calls are summed up, a bar for those of the same while.
void Write_Html_Timeline(const Trace& trace, const Overview& overview, std::ostream& page);

/// The class of the page's style that a call is coloured with.
std::string_view Colour_Class(const Call& call);
std::string_view Colour_Class(Outcome outcome);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
