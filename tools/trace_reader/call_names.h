#pragma once

#include "tools/trace_reader/Trace.h"

#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// A word or two for people, such as "old copy".
std::string_view Outcome_Label(Outcome outcome);

/// For programs, such as "old_copy".
std::string_view Outcome_Identifier(Outcome outcome);

/// What a call is named where it stands in a list, such as "Clear"; empty for a request.
std::string_view Operation_Label(Operation operation);

/// For programs, such as "set_cache_directory".
std::string_view Operation_Identifier(Operation operation);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
