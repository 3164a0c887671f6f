#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Util {

/// A character of a text, or a byte that belongs to none.
struct Narrow_Character {
    std::string_view bytes;       ///< in the text
    std::optional<char32_t> code; ///< none: not valid in the encoding
};

/// Takes a text apart.
/// @param encoding such as "UTF-8" or "CP1252"; empty: the one of the terminal, as the system says it. Where it says
///        nothing, as in the locale "C", that is UTF-8.
std::vector<Narrow_Character> Characters_Of(std::string_view text, const std::string& encoding = {});

} // namespace QEL::FrontEnd::Util
