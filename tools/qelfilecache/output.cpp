#include "tools/qelfilecache/output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace QEL::FrontEnd::Tool {

namespace {

bool Is_Control_Character(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

/// True of both bytes of U+0080 to U+009F in UTF-8, by which some terminals are steered, too.
bool Is_In_Second_Control_Character(const std::string& text, std::size_t place) {
    const auto begins = [&text](std::size_t start) {
        return start + 1 < text.size() && text[start] == '\xC2' &&
               static_cast<unsigned char>(text[start + 1]) >= 0x80 &&
               static_cast<unsigned char>(text[start + 1]) <= 0x9F;
    };
    return begins(place) || (place > 0 && begins(place - 1));
}

} // namespace

void Write_Result(const std::string& line) {
    const std::string text = line + '\n';
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        if (errno == EPIPE) {
            throw Reader_Gone("nobody reads the results");
        }
        throw Output_Error("cannot write the results: " + std::generic_category().message(errno));
    }
}

void Write_Message(const std::string& message) {
    const std::string text = "qelfilecache: " + message + '\n';
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

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

std::string Quoted(const std::string& text) {
    return "'" + Printable(text) + "'";
}

std::string Indented_Lines(const std::vector<std::string>& texts) {
    constexpr std::size_t most = 20;
    // "1 more" would take the place of the one that it leaves out.
    const std::size_t shown = texts.size() > most + 1 ? most : texts.size();
    std::string lines;
    for (std::size_t place = 0; place < shown; ++place) {
        lines += "\n  " + Printable(texts[place]);
    }
    return shown == texts.size() ? lines : lines + "\n  and " + std::to_string(texts.size() - shown) + " more";
}

bool Holds_Control_Character(const std::string& text) {
    return std::any_of(text.begin(), text.end(), Is_Control_Character);
}

} // namespace QEL::FrontEnd::Tool
