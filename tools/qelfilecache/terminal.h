#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>

/// What output for people depends on: where it goes, and how wide that is.
namespace QEL::FrontEnd::Tool::Terminal {

/// Columns that lines on standard output should keep to: the environment's COLUMNS, else the
/// terminal's. None when it goes to a file or a program, which take lines of any length.
std::optional<std::size_t> Width();

/// True when the stream is a terminal that shows colours and the user has not refused them with
/// NO_COLOR or TERM=dumb. On Windows, makes the console understand the colour sequences.
bool Colours(std::FILE* stream);

} // namespace QEL::FrontEnd::Tool::Terminal
