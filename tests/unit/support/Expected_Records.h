#pragma once

#include "tests/unit/support/Recorded_Trace.h"

/// Expected records, in C++ or in the files expected/NAME.trace, which hold whole sequences that several tests share.
///
/// A line is a record: its level (E, W, N, D for error, warning, note, additional data), its method and its
/// text. The four pieces of an entry or exit are one line; "\n" is a line end inside a text, "\" at the end
/// of a line says that the text has none. "{name}" is a value of the test, "#" begins a comment.
/// "= NAME key=value" stands for the records of a file; "< TEXT" behind it ends them before the first one
/// that holds the text, "<< TEXT" before the second one.
namespace Recorded_Trace {

using Lines = std::vector<std::string>;
using Values = std::map<std::string, std::string>;

void Replace_All(std::string& text, const std::string& from, const std::string& to);

/// Records as the files show them.
Lines Shown(const Records& records);

/// Without a trace, as the environment variable QEL_UNTRACED says, the tests expect the same results and no record.
bool Is_Off();

/// One text, so that a difference is shown line by line.
std::string Joined(const Lines& lines);

/// The records that lines stand for, or none without a trace.
Lines Lines_Of(const std::string& text, const Values& values);

/// The first lines of a trace file, each behind `stamp`, and an empty one.
std::string File_Header(const std::string& program, const std::string& stamp, const std::string& mode);

/// The trace file of a host that requests its first file, from a web server: with these for thread, object and line.
std::string First_Download(const std::string& thread, const std::string& object, const std::string& line);

/// An address as the platform's "%p" shows it.
std::string Address_Text(const void* address);

/// An entry as the trace shows it.
std::string Entry_Text(const std::string& cached_file, const std::string& last_modified);

} // namespace Recorded_Trace
