#include "tools/trace_reader/html.h"

#include "util/Visible_Text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

using Entity = std::pair<char, std::string_view>;
constexpr Entity entities[] = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};

} // namespace

std::string Html_Text(std::string_view text) {
    std::string html;
    html.reserve(text.size() + text.size() / 8);
    for (;;) {
        const auto end = std::min(text.find('\n'), text.size());
        for (const char character : Util::Printable(std::string(text.substr(0, end)), "UTF-8")) {
            const auto* const entity = std::ranges::find(entities, character, &Entity::first);
            if (entity != std::end(entities)) {
                html += entity->second;
            } else {
                html += character;
            }
        }
        if (end == text.size()) {
            return html;
        }
        html += '\n';
        text.remove_prefix(end + 1);
    }
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
