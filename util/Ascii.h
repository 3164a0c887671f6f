#pragma once

#include <algorithm>
#include <string_view>

/// Functions on ASCII characters, independent of the locale.
namespace QEL::FrontEnd::Util {

constexpr std::string_view Ascii_Blanks = " \t\n\f\r";

constexpr bool Is_Ascii_Letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

constexpr bool Is_Ascii_Digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr char To_Ascii_Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// True when the texts are equal except for the case of ASCII letters.
constexpr bool Equals_Ignoring_Case(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, {}, To_Ascii_Lower, To_Ascii_Lower);
}

constexpr bool Starts_With_Ignoring_Case(std::string_view text, std::string_view beginning) {
    // GCOVR_EXCL_BR_START: no beginning is compared with a shorter text
    return text.size() >= beginning.size() && Equals_Ignoring_Case(text.substr(0, beginning.size()), beginning);
    // GCOVR_EXCL_BR_STOP
}

/// The text without the characters at its beginning that are in `characters`.
constexpr std::string_view Trim_Beginning(std::string_view text, std::string_view characters) {
    return text.substr(std::min(text.find_first_not_of(characters), text.size())); // GCOVR_EXCL_BR_LINE: exceptions
}

/// The text without the characters at its end that are in `characters`.
constexpr std::string_view Trim_End(std::string_view text, std::string_view characters) {
    return text.substr(0, text.find_last_not_of(characters) + 1);
}

constexpr std::string_view Trim(std::string_view text, std::string_view characters) {
    return Trim_End(Trim_Beginning(text, characters), characters);
}

} // namespace QEL::FrontEnd::Util
