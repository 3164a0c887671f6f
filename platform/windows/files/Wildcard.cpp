#include "platform/windows/files/Wildcard.h"

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/system/Wide_Text.h"

namespace QEL::FrontEnd::Platform {

namespace {

bool Same_Letter(wchar_t left, wchar_t right) {
    return left == right || CompareStringOrdinal(&left, 1, &right, 1, TRUE) == CSTR_EQUAL;
}

} // namespace

bool Matches_Wildcard(const std::string& name, const std::string& pattern) {
    // A character of the code page may take two bytes; as wide text each is one.
    const std::wstring text = To_Wide(name);
    const std::wstring mask = To_Wide(pattern);

    std::size_t at = 0;
    std::size_t mask_at = 0;
    // Where to go on when a later character fails: behind the last star, one more character in its run.
    std::size_t behind_star = std::wstring::npos;
    std::size_t run_end = 0;
    while (at < text.size()) {
        if (mask_at < mask.size() && mask[mask_at] == L'*') {
            behind_star = ++mask_at;
            run_end = at;
        } else if (mask_at < mask.size() && (mask[mask_at] == L'?' || Same_Letter(mask[mask_at], text[at]))) {
            ++mask_at;
            ++at;
        } else if (behind_star != std::wstring::npos) {
            mask_at = behind_star;
            at = ++run_end;
        } else {
            return false;
        }
    }
    return mask.find_first_not_of(L'*', mask_at) == std::wstring::npos;
}

} // namespace QEL::FrontEnd::Platform
