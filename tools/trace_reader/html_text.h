#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// A text of a trace as HTML, for elements and for attributes in quotes: whatever it holds, it is
/// nothing but text. Control characters, those of the writing direction included, become visible;
/// line ends stay.
std::string Html_Text(std::string_view text);

/// The same of the first so many bytes; tells when there are more.
std::string Html_Text(std::string_view text, std::size_t longest);

/// A SHA-256 in hexadecimal as a content security policy has it: in Base64.
std::string Base64_Of_Hex(std::string_view hexadecimal);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
