#pragma once

#include "tools/trace_reader/trace_reader.h"
#include "util/Ascii.h"

#include <cstddef>
#include <string_view>

namespace QEL::FrontEnd::Trace_Reading {

/// Splits the content of a file into records, in linear time, whatever it holds; appends them and the
/// runs of the file to those of the trace.
///
/// A record begins at the start of a line. Inside a line it begins only where the writer can have
/// been interrupted, or where the address of the cache object proves it genuine: a requested URL may
/// hold anything, the looks of a record included. What belongs to no record is taken for the rest of
/// the one before, for messages may have several lines.
/// @param first_line the number of the content's first line.
/// @return false when the file holds neither a heading nor a record.
bool Split_Into_Records(Trace& trace, std::uint32_t file, std::uint32_t first_line);

/// Assigns each record to a call of its thread, and finds how deep its method was in it.
void Build_Calls(Trace& trace);

/// Concludes from the records of a call what was asked, how it was decided, and what failed.
void Determine_Outcome(Call& call);

/// "(16.11.26 04:38:16)"
inline constexpr std::size_t time_stamp_size = 19;

/// True when the text begins with a time stamp and a blank behind it.
bool Parse_Time_Stamp(std::string_view text, Local_Time& time);

/// The text behind a time stamp and its blank, if it begins with one.
std::string_view Without_Time_Stamp(std::string_view text);

/// Without blanks and line ends around it.
inline std::string_view Without_Blanks(std::string_view text) {
    return Util::Trim(text, " \t\r\n");
}

/// True when the text of a record is that of an entry or exit, complete or not.
bool Is_Call_Or_Return(std::string_view text);

/// Sets kind and text of a record from everything that stands behind its prefix.
void Interpret_Text(std::string_view raw, Record& record);

} // namespace QEL::FrontEnd::Trace_Reading
