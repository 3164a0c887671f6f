#pragma once

#include <algorithm>
#include <string_view>

namespace QEL::FrontEnd::Util {

/// True when the text holds CR, LF or NUL. Such a path or URL is refused: it would forge lines of
/// the metadata file, and the system would cut a path at its NUL.
inline bool Holds_Line_Break_Or_Nul(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

/// True of an ASCII control character.
inline bool Is_Control_Character(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

inline bool Holds_Control_Character(std::string_view text) {
    return std::any_of(text.begin(), text.end(), Is_Control_Character);
}

} // namespace QEL::FrontEnd::Util
