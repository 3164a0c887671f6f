#include "util/Narrow_Text.h"

#include <array>
#include <cstdint>
#include <cstring>

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

namespace QEL::FrontEnd::Util {

namespace {

/// The encoding of the environment's locale, which the program itself does not take over.
std::string Encoding_Of_Terminal() {
    const locale_t locale = ::newlocale(LC_CTYPE_MASK, "", nullptr);
    const std::string encoding = locale == nullptr ? "" : ::nl_langinfo_l(CODESET, locale);
    if (locale != nullptr) {
        ::freelocale(locale);
    }
    return encoding.empty() || encoding == "ANSI_X3.4-1968" ? "UTF-8" : encoding;
}

} // namespace

std::vector<Narrow_Character> Characters_Of(std::string_view text, const std::string& encoding) {
    static const std::string s_of_terminal = Encoding_Of_Terminal();
    const iconv_t converter = ::iconv_open("UTF-32LE", (encoding.empty() ? s_of_terminal : encoding).c_str());
    const bool is_known = converter != reinterpret_cast<iconv_t>(-1);
    std::vector<Narrow_Character> characters;
    while (!text.empty()) {
        // Room for one character: the conversion stops behind it.
        std::array<char, 4> unit{};
        char* in = const_cast<char*>(text.data());
        char* out = unit.data();
        std::size_t in_left = text.size();
        std::size_t out_left = unit.size();
        if (is_known) {
            ::iconv(converter, &in, &in_left, &out, &out_left);
        }
        Narrow_Character character{text.substr(0, 1), {}};
        if (out_left == 0) {
            std::uint32_t code = 0;
            std::memcpy(&code, unit.data(), unit.size());
            character = {text.substr(0, text.size() - in_left), static_cast<char32_t>(code)};
        }
        text.remove_prefix(character.bytes.size());
        characters.push_back(character);
    }
    if (is_known) {
        ::iconv_close(converter);
    }
    return characters;
}

} // namespace QEL::FrontEnd::Util
