#pragma once

#include "tools/trace_reader/overview.h"

#include <iosfwd>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Writes a page that shows a trace: complete in itself, readable with and without JavaScript. Of a
/// large trace, it leaves out what would keep a browser from showing it, and says so.
void Write_Html_Page(const Trace& trace, const Overview& overview, std::ostream& page);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
