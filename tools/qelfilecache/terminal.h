#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

/// What output for people depends on: where it goes, and how wide that is.
namespace QEL::FrontEnd::Tool::Terminal {

/// Columns that lines on standard output should keep to: the environment's COLUMNS, else the
/// terminal's. None when it goes to a file or a program, which take lines of any length.
std::optional<std::size_t> Width();

/// True when the stream is a terminal that shows colours and the user has not refused them with
/// NO_COLOR or TERM=dumb. On Windows, makes the console understand the colour sequences.
bool Colours(std::FILE* stream);

/// Columns that a text takes: its characters, when it is UTF-8, else its bytes.
std::size_t Columns_Of(std::string_view text);

/// The text in at most so many columns. One that is too long loses its middle, as paths and
/// addresses differ at both ends; "..." stands there instead.
std::string Shorten(std::string_view text, std::size_t columns);

/// The text shortened or filled with blanks to exactly so many columns.
std::string Fit(std::string_view text, std::size_t columns);

} // namespace QEL::FrontEnd::Tool::Terminal
