#pragma once

#include "tests/unit/support/Recorded_Trace.h"

#include <map>
#include <string>
#include <vector>

/// Whole sequences of records, each asserted once, from the files expected/NAME.trace.
///
/// A line is a record: its level (E, W, N, D for error, warning, note, additional data), its method and its
/// text. The four pieces of an entry or exit are one line; "\n" is a line end inside a text, "\" at the end
/// of a line says that the text has none. "{name}" is a value of the test. "= NAME key=value" stands for
/// the records of another file, "#" begins a comment.
///
/// With QEL_PRINT_RECORDS in its environment, a test prints what each file it reads would have to be.
namespace Recorded_Trace {

using Lines = std::vector<std::string>;
using Values = std::map<std::string, std::string>;

/// Records as the files show them.
Lines Shown(const Records& records);

/// The lines of expected/NAME.trace.
Lines Expected(const std::string& name, const Values& values);

/// The lines before the given one of those that hold a text. It has to be there.
Lines Before(Lines lines, const std::string& text, int occurrence = 1);

Lines operator+(Lines left, const Lines& right);
Lines operator+(Lines left, const Records& right);
Lines operator+(const Records& left, const Lines& right);

/// Compares, and shows the difference line by line.
void Expect_Lines(const Lines& expected, const Records& recorded);
void Expect_Lines(const Records& expected, const Records& recorded);
void Expect_Records(const std::string& name, const Values& values, const Records& recorded);

/// An address as the platform's "%p" shows it.
std::string Address_Text(const void* address);

/// An entry as the trace shows it.
std::string Entry_Text(const std::string& cached_file, const std::string& last_modified);

} // namespace Recorded_Trace
