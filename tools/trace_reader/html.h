#pragma once

#include "tools/trace_reader/overview.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

/// The parts of the page.
namespace QEL::FrontEnd::Trace_Reading {

/// The same for every trace; the build makes them of page/. The hashes are SHA-256, hexadecimal.
extern const std::string_view page_style;
extern const std::string_view page_script;
extern const std::string_view page_style_hash;
extern const std::string_view page_script_hash;

/// A text of a trace as HTML, for elements and for attributes in quotes: whatever it holds, it is
/// nothing but text. Control characters, those of the writing direction included, become visible;
/// line ends stay.
std::string Html_Text(std::string_view text);

/// The same of the first so many bytes; says when there are more.
std::string Html_Text(std::string_view text, std::size_t longest);

/// A SHA-256 in hexadecimal as a content security policy has it: in Base64.
std::string Base64_Of_Hex(std::string_view hexadecimal);

/// Writes the calls of each process and thread as bars: along the clock where the trace has times,
/// else in their order. Many calls are summed up, a bar for those of the same while.
void Write_Html_Timeline(const Overview& overview, std::ostream& page);

} // namespace QEL::FrontEnd::Trace_Reading
