#pragma once

#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// What an HTTP status means, such as "not found"; empty for one that is not known.
std::string_view Meaning_Of_Status(int status);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
