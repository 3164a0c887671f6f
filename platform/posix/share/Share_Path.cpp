#include "platform/posix/share/Share_Path.h"

#include "util/Ascii.h"

#include <algorithm>

namespace QEL::FrontEnd::Platform {

namespace {

constexpr std::string_view Separators = "\\/";

bool Is_Plain(char letter) {
    return Util::Is_Ascii_Letter(letter) || Util::Is_Ascii_Digit(letter) ||
           std::string_view("-._~").find(letter) != std::string_view::npos;
}

bool Is_Ascii(char letter) {
    return static_cast<unsigned char>(letter) < 0x80;
}

/// Cuts the next part off the front of `rest`; empty when there are no more.
std::string_view Next_Part(std::string_view& rest) {
    const auto start = std::min(rest.find_first_not_of(Separators), rest.size());
    const auto end = std::min(rest.find_first_of(Separators, start), rest.size());
    const auto part = rest.substr(start, end - start);
    rest.remove_prefix(end);
    return part;
}

bool Is_Dots(std::string_view name) {
    return name == "." || name == "..";
}

bool Is_Server_Name(std::string_view name) {
    return !name.empty() && !Is_Dots(name) &&
           std::ranges::all_of(name, [](char letter) { return Is_Plain(letter) || !Is_Ascii(letter); });
}

std::string Percent_Encoded(std::string_view text, bool keep_slashes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char letter : text) {
        if (Is_Plain(letter) || (keep_slashes && letter == '/')) {
            encoded += letter;
            continue;
        }
        const auto byte = static_cast<unsigned char>(letter);
        encoded += '%';
        encoded += digits[byte >> 4];
        encoded += digits[byte & 0x0F];
    }
    return encoded;
}

} // namespace

std::optional<Share_Path> Parse_Share_Path(std::string_view path) {
    if (!path.starts_with("\\\\")) {
        return std::nullopt;
    }
    path.remove_prefix(2);
    if (path.empty() || Separators.find(path.front()) != std::string_view::npos) {
        return std::nullopt;
    }

    Share_Path parts;
    parts.server = Next_Part(path);
    parts.share = Next_Part(path);
    if (!Is_Server_Name(parts.server) || parts.share.empty() || Is_Dots(parts.share)) {
        return std::nullopt;
    }

    for (auto part = Next_Part(path); !part.empty(); part = Next_Part(path)) {
        if (!parts.file.empty()) {
            parts.file += '/';
        }
        parts.file += part;
    }
    return parts;
}

std::string To_Smb_Url(const Share_Path& path) {
    return "smb://" + Percent_Encoded(path.server, false) + "/" + Percent_Encoded(path.share, false) + "/" +
           Percent_Encoded(path.file, true);
}

} // namespace QEL::FrontEnd::Platform
