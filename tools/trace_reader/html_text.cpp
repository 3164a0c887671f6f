#include "tools/trace_reader/html.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

using Entity = std::pair<char, std::string_view>;
constexpr Entity entities[] = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};

std::string Visible_Byte(unsigned char byte) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    return std::string("\\x") + digits[byte >> 4] + digits[byte & 0x0F];
}

/// True when a text begins with one of the marks that change the direction of what is behind them, or hide in it:
/// U+200B to U+200F, U+202A to U+202E and U+2066 to U+2069.
bool Begins_With_Direction_Mark(std::string_view text) {
    const auto last = text.size() < 3 ? 0 : static_cast<unsigned char>(text[2]);
    return text.starts_with("\xE2\x80") ? (last >= 0x8B && last <= 0x8F) || (last >= 0xAA && last <= 0xAE)
                                        : text.starts_with("\xE2\x81") && last >= 0xA6 && last <= 0xA9;
}

} // namespace

std::string Html_Text(std::string_view text) {
    std::string html;
    html.reserve(text.size() + text.size() / 8);
    for (std::size_t place = 0; place < text.size(); ++place) {
        const char character = text[place];
        const auto byte = static_cast<unsigned char>(character);
        const auto* const entity = std::ranges::find(entities, character, &Entity::first);
        if (entity != std::end(entities)) {
            html += entity->second;
        } else if ((byte < 0x20 && character != '\n') || byte == 0x7F) {
            html += Visible_Byte(byte);
        } else if (Begins_With_Direction_Mark(text.substr(place))) {
            html += "\\u20";
            html += Visible_Byte(static_cast<unsigned char>(((text[place + 1] & 0x01) << 6) | (text[place + 2] & 0x3F)))
                        .substr(2);
            place += 2;
        } else {
            html += character;
        }
    }
    return html;
}

std::string Html_Text(std::string_view text, std::size_t longest) {
    if (text.size() <= longest) {
        return Html_Text(text);
    }
    // Not in the middle of a character.
    std::size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return Html_Text(text.substr(0, end)) + " ... (" + std::to_string(text.size() - end) + " more bytes)";
}

std::string Base64_Of_Hex(std::string_view hexadecimal) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string base64;
    std::uint32_t bits = 0;
    int count = 0;
    for (std::size_t place = 0; place + 2 <= hexadecimal.size(); place += 2) {
        std::uint32_t byte = 0;
        std::from_chars(hexadecimal.data() + place, hexadecimal.data() + place + 2, byte, 16);
        bits = bits << 8 | byte;
        for (count += 8; count >= 6; count -= 6) {
            base64 += digits[bits >> (count - 6) & 0x3F];
        }
    }
    if (count > 0) {
        base64 += digits[bits << (6 - count) & 0x3F];
    }
    base64.append((4 - base64.size() % 4) % 4, '=');
    return base64;
}

} // namespace QEL::FrontEnd::Trace_Reading
