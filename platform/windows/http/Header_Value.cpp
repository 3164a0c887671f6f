#include "platform/windows/http/Header_Value.h"

#include "platform/common/Control_Characters.h"

#include <algorithm>
#include <string_view>

namespace QEL::FrontEnd::Platform {

std::string Clean_Header_Value(std::string value) {
    const auto breaks_a_line = [](char c) { return c != '\t' && Holds_Control_Character(std::string_view(&c, 1)); };
    std::replace_if(value.begin(), value.end(), breaks_a_line, ' ');
    const auto first = value.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return {};
    }
    const auto last = value.find_last_not_of(" \t");
    return value.substr(first, last - first + 1);
}

} // namespace QEL::FrontEnd::Platform
