#include "platform/posix/files/Wildcard.h"

namespace QEL::FrontEnd::Platform {

bool Matches_Wildcard(std::string_view name, std::string_view pattern) {
    std::size_t at = 0;
    std::size_t pattern_at = 0;
    // Where to go on when a later character fails: behind the last star, one more character in its run.
    std::size_t behind_star = std::string_view::npos;
    std::size_t run_end = 0;
    while (at < name.size()) {
        if (pattern_at < pattern.size() && pattern[pattern_at] == '*') {
            behind_star = ++pattern_at;
            run_end = at;
        } else if (pattern_at < pattern.size() && (pattern[pattern_at] == '?' || pattern[pattern_at] == name[at])) {
            ++pattern_at;
            ++at;
        } else if (behind_star != std::string_view::npos) {
            pattern_at = behind_star;
            at = ++run_end;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', pattern_at) == std::string_view::npos;
}

} // namespace QEL::FrontEnd::Platform
