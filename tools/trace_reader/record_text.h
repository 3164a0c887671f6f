#pragma once

#include "tools/trace_reader/Trace.h"

#include <cstddef>
#include <string_view>

/// Small questions to the text of a trace.
namespace QEL::FrontEnd::Tool::Trace_Reading {

/// "(16.11.26 04:38:16)"
inline constexpr std::size_t time_stamp_size = 19;

/// True when the text begins with a time stamp and a blank behind it.
bool Parse_Time_Stamp(std::string_view text, Local_Clock_Time& time);

/// The text behind a time stamp and its blank, if it begins with one.
std::string_view Without_Time_Stamp(std::string_view text);

/// Without blanks and line ends around it.
std::string_view Without_Blanks(std::string_view text);

/// True when the text of a record is that of an entry or exit, complete or not.
bool Is_Call_Or_Return(std::string_view text);

/// Sets kind and text of a record from everything that stands behind its prefix.
void Interpret_Text(std::string_view raw, Record& record);

/// What stands between two texts, the first one's first place and the second one's last behind it;
/// empty when they are not there.
std::string_view Between(std::string_view text, std::string_view before, std::string_view after);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
