#pragma once

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

namespace QEL::FrontEnd::FileCache {

/// Takes an unsigned number from the start of a line, as a stream would: white space before it is skipped, a sign is
/// taken ("-1" is the largest number), what follows is ignored.
/// @return false without digits, and for a number that is too large; `number` has no meaning then.
template <typename Number>
bool Parse_Number(std::string_view line, Number& number) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t\n\v\f\r"), line.size()));
    const bool is_negative = line.starts_with('-');
    if (is_negative || line.starts_with('+')) {
        line.remove_prefix(1);
    }
    if (std::from_chars(line.data(), line.data() + line.size(), number).ec != std::errc()) {
        return false;
    }
    number = is_negative ? Number{} - number : number;
    return true;
}

} // namespace QEL::FrontEnd::FileCache
