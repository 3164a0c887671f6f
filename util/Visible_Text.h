#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Texts for a terminal.
namespace QEL::FrontEnd::Util {

/// Text for a message, without passwords. Control characters, marks that change the direction of the text after them,
/// and bytes that are not a character become visible: a request can neither forge lines nor control the terminal.
/// @param encoding see Characters_Of.
std::string Printable(const std::string& text, const std::string& encoding = {});

/// JSON for a terminal: with the same characters as escapes of JSON.
std::string Printable_Json(const std::string& json);

/// The text with "user:***@" for the user and password of each URL and share in it.
std::string Without_Passwords(std::string_view text);

/// "1 file", "2 files"; an irregular plural must be given.
std::string Counted(std::uintmax_t count, const std::string& singular, const std::string& plural = {});

/// The columns of a text: its characters if it is UTF-8, else its bytes.
std::size_t Columns_Of(std::string_view text);

/// The text in at most so many columns. In a longer text "..." replaces the middle, as paths and
/// addresses differ at both ends.
std::string Shorten(std::string_view text, std::size_t columns);

/// The text in lines of at most so many columns, broken at blanks. A longer word is cut only if `cuts` is set.
std::vector<std::string_view> Wrapped(std::string_view text, std::size_t columns, bool cuts);

/// The text shortened or filled with blanks to exactly so many columns.
std::string Fit(std::string_view text, std::size_t columns);

} // namespace QEL::FrontEnd::Util
