#include "util/Visible_Text.h"

#include "util/Control_Characters.h"

#include <algorithm>

namespace QEL::FrontEnd::Util {

namespace {

/// True of both bytes of U+0080 to U+009F in UTF-8, by which some terminals are steered, too.
bool Is_In_Second_Control_Character(const std::string& text, std::size_t place) {
    const auto begins = [&text](std::size_t start) {
        return start + 1 < text.size() && text[start] == '\xC2' &&
               static_cast<unsigned char>(text[start + 1]) >= 0x80 &&
               static_cast<unsigned char>(text[start + 1]) <= 0x9F;
    };
    return begins(place) || (place > 0 && begins(place - 1));
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

std::string Printable(const std::string& text) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string printable;
    for (std::size_t place = 0; place < text.size(); ++place) {
        const char character = text[place];
        if (Is_Control_Character(character) || Is_In_Second_Control_Character(text, place)) {
            const auto code = static_cast<unsigned char>(character);
            printable += {'\\', 'x', digits[code >> 4], digits[code & 0x0F]};
        } else {
            printable += character;
        }
    }
    return printable;
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

std::string Fit(std::string_view text, std::size_t columns) {
    std::string fitted = Shorten(text, columns);
    fitted.append(columns - Columns_Of(fitted), ' ');
    return fitted;
}

} // namespace QEL::FrontEnd::Util
