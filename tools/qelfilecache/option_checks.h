#pragma once

#include <CLI/CLI.hpp>

#include <charconv>
#include <limits>
#include <string>

namespace QEL::FrontEnd::Tool {

/// Accepts a whole number from `least` to `most`; complains with what it wants, such as "a whole number".
inline CLI::Validator Whole_Number(const std::string& wanted, int least = std::numeric_limits<int>::min(),
                                   int most = std::numeric_limits<int>::max()) {
    const auto complaint = [=](const std::string& text) {
        int number = 0;
        const char* const end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data(), end, number);
        const bool is_number = parsed.ec == std::errc() && parsed.ptr == end;
        return is_number && number >= least && number <= most ? "" : "needs " + wanted + ", not '" + text + "'";
    };
    return CLI::Validator(complaint, "");
}

} // namespace QEL::FrontEnd::Tool
