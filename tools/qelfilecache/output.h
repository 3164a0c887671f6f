#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// The results cannot be handed over: standard output is closed or full.
class Output_Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Whoever read the results has stopped reading, as "head" does: no reason to complain.
class Reader_Gone : public Output_Error {
public:
    using Output_Error::Output_Error;
};

/// Writes one line of results to standard output, and sees that it leaves the process.
/// @throws Output_Error
/// @throws Reader_Gone
void Write_Result(const std::string& line);

/// Writes a message to standard error, behind the program's name.
void Write_Message(const std::string& message);

/// The text with its control characters made visible, in quotes.
std::string Quoted(const std::string& text);

/// The end of a message: the texts one below the other, indented; of many, the first and how many more there are.
std::string Indented_Lines(const std::vector<std::string>& texts);

} // namespace QEL::FrontEnd::Tool

/// What output for people depends on: where it goes, and how wide that is.
namespace QEL::FrontEnd::Tool::Terminal {

/// Columns that lines on standard output should keep to: the environment's COLUMNS, else the
/// terminal's. None when it goes to a file or a program, which take lines of any length.
std::optional<std::size_t> Width();

/// True when the stream is a terminal that shows colours and the user has not refused them with
/// NO_COLOR or TERM=dumb. On Windows, makes the console understand the colour sequences.
bool Colours(std::FILE* stream);

} // namespace QEL::FrontEnd::Tool::Terminal
