#include "util/Narrow_Text.h"

#include "platform/windows/Windows_Headers.h"

#include <algorithm>

namespace QEL::FrontEnd::Util {

std::vector<Narrow_Character> Characters_Of(std::string_view text, const std::string& encoding) {
    const UINT code_page = encoding.empty()      ? CP_ACP
                           : encoding == "UTF-8" ? CP_UTF8
                                                 : static_cast<UINT>(std::stoul(encoding.substr(2)));
    constexpr std::size_t longest = 4; // of a character, in bytes
    std::vector<Narrow_Character> characters;
    while (!text.empty()) {
        Narrow_Character character{text.substr(0, 1), {}};
        for (std::size_t size = 1; size <= std::min(longest, text.size()) && !character.code; ++size) {
            wchar_t units[2];
            const int count =
                MultiByteToWideChar(code_page, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(size), units, 2);
            if (count > 0) {
                const char32_t beyond = count == 1 ? 0 : ((units[0] - 0xD800U) << 10) + (units[1] - 0xDC00U) + 0x10000U;
                character = {text.substr(0, size), count == 1 ? char32_t{units[0]} : beyond};
            }
        }
        text.remove_prefix(character.bytes.size());
        characters.push_back(character);
    }
    return characters;
}

} // namespace QEL::FrontEnd::Util
