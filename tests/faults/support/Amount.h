#pragma once

#include "tests/support/Standard_Library.h"

namespace QEL::Tests {

/// How much of something is done: the number in an environment variable, or the usual one when it is
/// not set or empty. An exception ends the test for any other text and for a number below the least, with
/// which the test would show nothing.
inline int Amount(const char* variable, int usual, int least = 1) {
    const char* const asked = std::getenv(variable);
    if (asked == nullptr || *asked == '\0') {
        return usual;
    }
    const std::string_view text = asked;
    int amount = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), amount);
    if (error != std::errc() || end != text.data() + text.size() || amount < least) {
        throw std::invalid_argument(std::string(variable) + "=" + asked + " is not a number from " +
                                    std::to_string(least) + " on");
    }
    return amount;
}

} // namespace QEL::Tests
