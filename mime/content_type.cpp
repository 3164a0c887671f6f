#include "mime/content_type.h"

#include "util/Ascii.h"

#include <algorithm>
#include <cstddef>

namespace QEL::Mime {

namespace {

using namespace FrontEnd::Util;

constexpr std::string_view Http_Whitespace = " \t\r\n";

constexpr bool Is_Token_Character(char c) {
    return Is_Ascii_Letter(c) || Is_Ascii_Digit(c) ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool Is_Token(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, Is_Token_Character);
}

/// The length of the first of several values: up to a comma that no quoted string holds. A quoted
/// string without end reaches to the end of the text.
std::size_t First_Value_Length(std::string_view values) {
    bool quoted = false;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (values[i] == '"') {
            quoted = !quoted;
        } else if (quoted && values[i] == '\\') {
            ++i;
        } else if (!quoted && values[i] == ',') {
            return i;
        }
    }
    return values.size();
}

std::optional<Mime_Type> Find_In_One_Value(std::string_view value) {
    const std::string_view mime_type = value.substr(0, value.find(';'));
    const std::size_t slash = mime_type.find('/');
    if (slash == std::string_view::npos) {
        return std::nullopt;
    }
    const Mime_Type found{Trim(mime_type.substr(0, slash), Http_Whitespace),
                          Trim(mime_type.substr(slash + 1), Http_Whitespace)};
    const bool any_type = found.type == "*" && found.subtype == "*";
    return Is_Token(found.type) && Is_Token(found.subtype) && !any_type ? std::optional(found) : std::nullopt;
}

} // namespace

std::optional<Mime_Type> Find_Mime_Type(std::string_view content_type) {
    std::optional<Mime_Type> last_found;
    while (!content_type.empty()) {
        const std::size_t length = First_Value_Length(content_type);
        if (const auto found = Find_In_One_Value(content_type.substr(0, length))) {
            last_found = found;
        }
        content_type.remove_prefix(std::min(length + 1, content_type.size()));
    }
    return last_found;
}

} // namespace QEL::Mime
