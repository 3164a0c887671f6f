#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Util {

/// A character of a text, or a byte that is not part of one.
struct Narrow_Character {
    std::string_view bytes;       ///< in the text
    std::optional<char32_t> code; ///< none: not valid in the encoding
};

/// Splits a text into characters.
/// @param encoding such as "UTF-8" or "CP1252"; empty: that of the terminal, or UTF-8 when the system does not
///        report it, as in the locale "C".
std::vector<Narrow_Character> Characters_Of(std::string_view text, const std::string& encoding = {});

} // namespace QEL::FrontEnd::Util
