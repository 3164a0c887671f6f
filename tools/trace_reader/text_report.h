#pragma once

#include "tools/trace_reader/overview.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace QEL::FrontEnd::Tool::Trace_Reading {

struct Text_Layout {
    std::optional<std::size_t> width; ///< none: lines of any length
    bool colours = false;
};

/// Receives the lines of a report, without line ends.
using Line_Sink = std::function<void(const std::string& line)>;

/// Writes what a trace tells for people: errors first, then the other calls in order.
void Write_Text_Report(const Trace& trace, const Overview& overview, const Text_Layout& layout, const Line_Sink& write);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
