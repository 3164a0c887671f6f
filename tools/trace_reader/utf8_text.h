#pragma once

#include <string>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// A text of a trace in valid UTF-8. One that is not UTF-8 is taken for text of this system; what is
/// none of either shows as U+FFFD.
std::string Utf8_Text(std::string_view text);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
