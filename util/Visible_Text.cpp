#include "util/Visible_Text.h"

#include "util/Narrow_Text.h"

#include <algorithm>

namespace QEL::FrontEnd::Util {

namespace {

constexpr char digits[] = "0123456789ABCDEF";

/// True of a character that does something to a terminal other than to show itself.
bool Steers_Terminal(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F) || code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

constexpr std::string_view ellipsis = "...";

/// Second and later bytes of a character; in a text of one byte a character, a rare letter.
bool Continues_A_Character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::size_t Start_Of_Character(std::string_view text, std::size_t column) {
    std::size_t position = 0;
    for (; position < text.size(); ++position) {
        if (!Continues_A_Character(text[position]) && column-- == 0) {
            break;
        }
    }
    return position;
}

} // namespace

std::string Printable(const std::string& text, const std::string& encoding) {
    const std::string shown = Without_Passwords(text);
    std::string printable;
    for (const Narrow_Character& character : Characters_Of(shown, encoding)) {
        if (character.code && !Steers_Terminal(*character.code)) {
            printable += character.bytes;
            continue;
        }
        for (const char byte : character.bytes) {
            const auto bits = static_cast<unsigned char>(byte);
            printable += {'\\', 'x', digits[bits >> 4], digits[bits & 0x0F]};
        }
    }
    return printable;
}

std::string Printable_Json(const std::string& json) {
    std::string printable;
    for (const Narrow_Character& character : Characters_Of(json, "UTF-8")) {
        const char32_t code = character.code.value_or(0);
        if (code >= 0x7F && Steers_Terminal(code)) { // those before are escaped, or parts of the layout
            printable += {
                '\\', 'u', digits[code >> 12], digits[code >> 8 & 0x0F], digits[code >> 4 & 0x0F], digits[code & 0x0F]};
        } else {
            printable += character.bytes;
        }
    }
    return printable;
}

std::string Without_Passwords(std::string_view text) {
    const auto is_slash = [](char letter) { return letter == '/' || letter == '\\'; };
    std::string shown;
    shown.reserve(text.size());
    std::size_t done = 0;
    for (std::size_t start = 0; start < text.size(); ++start) {
        // An authority stands behind a scheme and its slashes, or behind those of a share; in a malformed address it
        // may be the beginning of a word.
        const char before = start == 0 ? ' ' : text[start - 1];
        std::string ends = " \t\r\n\"'(";
        if (is_slash(before) && !is_slash(text[start])) {
            const auto scheme = text.substr(0, start).find_last_not_of("/\\");
            const char last = scheme == std::string_view::npos ? ' ' : text[scheme];
            const bool is_share = start >= scheme + 3 && (ends + "=,;<[").find(last) != std::string::npos;
            if (last != ':' && !is_share) {
                continue;
            }
            if (is_share || text.substr(0, start).ends_with("://")) {
                ends = "\r\n";
            }
        } else if (ends.find(before) == std::string::npos) {
            continue;
        }
        const auto authority = text.substr(start, text.find_first_of(ends + "/\\?#", start) - start);
        const auto colon = authority.find(':');
        const auto host = authority.rfind('@');
        if (host != std::string_view::npos && colon < host) {
            (shown += text.substr(done, start + colon + 1 - done)) += "***";
            done = start + host;
            start = done;
        }
    }
    return shown += text.substr(done);
}

std::string Counted(std::uintmax_t count, const std::string& singular, const std::string& plural) {
    const std::string several = plural.empty() ? singular + "s" : plural;
    return std::to_string(count) + " " + (count == 1 ? singular : several);
}

std::size_t Columns_Of(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !Continues_A_Character(byte); }));
}

std::string Shorten(std::string_view text, std::size_t columns) {
    const std::size_t all = Columns_Of(text);
    if (all <= columns) {
        return std::string(text);
    }
    if (columns <= ellipsis.size()) {
        return std::string(text.substr(0, Start_Of_Character(text, columns)));
    }
    const std::size_t kept = columns - ellipsis.size();
    const std::size_t head = kept / 2;
    const std::size_t tail = all - (kept - head);
    return std::string(text.substr(0, Start_Of_Character(text, head))) + std::string(ellipsis) +
           std::string(text.substr(Start_Of_Character(text, tail)));
}

std::vector<std::string_view> Wrapped(std::string_view text, std::size_t columns, bool cuts) {
    std::vector<std::string_view> lines;
    while (Columns_Of(text) > columns) {
        const auto too_much = Start_Of_Character(text, columns);
        auto end = text.rfind(' ', too_much);
        if (end == 0 || end == std::string_view::npos) {
            end = cuts ? too_much : text.find(' ', too_much);
        }
        if (end == std::string_view::npos) {
            break;
        }
        lines.push_back(text.substr(0, end));
        text.remove_prefix(text[end] == ' ' ? end + 1 : end);
    }
    lines.push_back(text);
    return lines;
}

std::string Fit(std::string_view text, std::size_t columns) {
    std::string fitted = Shorten(text, columns);
    fitted.append(columns - Columns_Of(fitted), ' ');
    return fitted;
}

} // namespace QEL::FrontEnd::Util
