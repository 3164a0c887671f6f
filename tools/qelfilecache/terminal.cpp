#include "tools/qelfilecache/terminal.h"

#include "tools/qelfilecache/host.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>

namespace QEL::FrontEnd::Tool::Terminal {

namespace {

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

std::optional<std::size_t> Width() {
    if (const char* const columns = std::getenv("COLUMNS")) {
        const std::string_view text = columns;
        std::size_t width = 0;
        if (std::from_chars(text.data(), text.data() + text.size(), width).ec == std::errc() && width > 0) {
            return width;
        }
    }
    return Host::Terminal_Width(stdout);
}

bool Colours(std::FILE* stream) {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    if ((refused != nullptr && *refused != '\0') || (terminal != nullptr && std::string_view(terminal) == "dumb")) {
        return false;
    }
    return Host::Prepare_Colours(stream);
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

std::string Fit(std::string_view text, std::size_t columns) {
    std::string fitted = Shorten(text, columns);
    fitted.append(columns - Columns_Of(fitted), ' ');
    return fitted;
}

} // namespace QEL::FrontEnd::Tool::Terminal
