#pragma once

#include "mime/sniffing/sniff.h"

#include <array>
#include <string_view>

namespace QEL::Mime::Sniffing {

/// True when the bytes hold one that text does not: a control character other than tab, line feed,
/// form feed, carriage return and escape.
bool Has_Binary_Byte(std::string_view bytes);

/// Room for the characters of a head in UTF-16.
using Utf16_Buffer = std::array<char, Sniffed_Length / 2>;

struct Head_Text {
    /// The text behind the byte order mark. ASCII characters stand for themselves; of the others only
    /// that they are none matters, so one byte stands for each of UTF-16.
    std::string_view characters;
    bool has_byte_order_mark;
};

/// The head as text, by its byte order mark; without one, UTF-16 is known by an XML declaration in
/// it, and everything else is taken as it is.
/// @param buffer holds the result where it is no part of the head.
Head_Text Read_As_Text(std::string_view head, Utf16_Buffer& buffer);

} // namespace QEL::Mime::Sniffing
