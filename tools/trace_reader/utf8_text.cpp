#include "tools/trace_reader/utf8_text.h"

#include "tools/qelfilecache/host.h"

#include <cstddef>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Length of the valid character at a place; 0 when there is none.
std::size_t Character_Length(std::string_view text, std::size_t place) {
    const auto byte = [&](std::size_t offset) {
        return place + offset < text.size() ? static_cast<unsigned char>(text[place + offset]) : 0U;
    };
    const auto continues = [&](std::size_t offset) { return (byte(offset) & 0xC0U) == 0x80U; };
    const auto lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF && continues(1)) {
        return 2;
    }
    if ((lead & 0xF0U) == 0xE0U && continues(1) && continues(2)) {
        const bool is_overlong = lead == 0xE0 && byte(1) < 0xA0;
        const bool is_surrogate = lead == 0xED && byte(1) >= 0xA0;
        return is_overlong || is_surrogate ? 0 : 3;
    }
    if (lead >= 0xF0 && lead <= 0xF4 && continues(1) && continues(2) && continues(3)) {
        const bool is_overlong = lead == 0xF0 && byte(1) < 0x90;
        const bool is_beyond = lead == 0xF4 && byte(1) >= 0x90;
        return is_overlong || is_beyond ? 0 : 4;
    }
    return 0;
}

std::string With_Replacements(std::string_view text, bool& valid) {
    std::string result;
    result.reserve(text.size());
    valid = true;
    for (std::size_t place = 0; place < text.size();) {
        const std::size_t length = Character_Length(text, place);
        valid = valid && length != 0;
        result.append(length == 0 ? replacement : text.substr(place, length));
        place += length == 0 ? 1 : length;
    }
    return result;
}

} // namespace

std::string Utf8_Text(std::string_view text) {
    bool valid = true;
    std::string result = With_Replacements(text, valid);
    return valid ? result : With_Replacements(Host::To_Utf8(std::string(text)), valid);
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
