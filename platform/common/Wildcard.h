#pragma once

#include <string>

namespace QEL::FrontEnd::Platform {

/// True when the name matches the pattern: `?` is exactly one character, `*` any run of them, and
/// everything else what `same_letter` says.
template <typename Text, typename Same_Letter>
bool Matches_Wildcard(const Text& name, const Text& pattern, Same_Letter same_letter) {
    std::size_t at = 0;
    std::size_t pattern_at = 0;
    // Where to go on when a later character fails: behind the last star, one more character in its run.
    std::size_t behind_star = Text::npos;
    std::size_t run_end = 0;
    while (at < name.size()) {
        if (pattern_at < pattern.size() && pattern[pattern_at] == '*') {
            behind_star = ++pattern_at;
            run_end = at;
        } else if (pattern_at < pattern.size() &&
                   (pattern[pattern_at] == '?' || same_letter(pattern[pattern_at], name[at]))) {
            ++pattern_at;
            ++at;
        } else if (behind_star != Text::npos) {
            pattern_at = behind_star;
            at = ++run_end;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', pattern_at) == Text::npos;
}

} // namespace QEL::FrontEnd::Platform
