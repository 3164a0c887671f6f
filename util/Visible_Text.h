#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Texts as people see them on a terminal.
namespace QEL::FrontEnd::Util {

/// Text for a message, without passwords. Control characters, marks that change the direction of what is behind them,
/// and bytes that are no character become visible, so that a request can neither forge lines nor steer the terminal.
/// @param encoding see Characters_Of.
std::string Printable(const std::string& text, const std::string& encoding = {});

/// JSON that shows on a terminal: the same characters as escapes of JSON.
std::string Printable_Json(const std::string& json);

/// The text with "user:***@" for the user and password of each URL in it.
std::string Without_Passwords(std::string_view text);

/// "1 file", "2 files"; a plural that is formed otherwise is given.
std::string Counted(std::uintmax_t count, const std::string& singular, const std::string& plural = {});

/// Columns that a text takes: its characters, when it is UTF-8, else its bytes.
std::size_t Columns_Of(std::string_view text);

/// The text in at most so many columns. One that is too long loses its middle, as paths and
/// addresses differ at both ends; "..." stands there instead.
std::string Shorten(std::string_view text, std::size_t columns);

/// The text in lines of at most so many columns, broken at blanks. Only if `cuts` is set, a word that is longer is cut.
std::vector<std::string_view> Wrapped(std::string_view text, std::size_t columns, bool cuts);

/// The text shortened or filled with blanks to exactly so many columns.
std::string Fit(std::string_view text, std::size_t columns);

} // namespace QEL::FrontEnd::Util
