#include "platform/common/Response_Headers.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "util/Ascii.h"
#include "util/Control_Characters.h"

namespace QEL::FrontEnd::Platform {

std::string Clean_Header_Value(std::string_view raw) {
    std::string value(raw);
    const auto breaks_a_line = [](char c) { return c != '\t' && Util::Is_Control_Character(c); };
    std::replace_if(value.begin(), value.end(), breaks_a_line, ' ');
    return std::string(Util::Trim(value, " \t"));
}

std::optional<std::uint64_t> Content_Length(std::string_view text) {
    std::uint64_t length = 0;
    const char* const text_end = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), text_end, length);
    const bool is_length = error == std::errc() && end == text_end && length <= INT64_MAX;
    return is_length ? std::optional(length) : std::nullopt;
}

void Response_Headers::Add_Line(std::string_view line) {
    if (line.starts_with(' ') || line.starts_with('\t')) {
        const auto continuation = Clean_Header_Value(line);
        if (!m_Headers.empty() && !continuation.empty()) {
            m_Headers.back().second.append(1, ' ').append(continuation);
        }
        return;
    }
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) {
        return;
    }
    m_Headers.emplace_back(line.substr(0, colon), Clean_Header_Value(line.substr(colon + 1)));
}

std::string Response_Headers::Value(std::string_view name) const {
    const auto header = std::find_if(m_Headers.begin(), m_Headers.end(),
                                     [&](const auto& entry) { return Util::Equals_Ignoring_Case(entry.first, name); });
    return header == m_Headers.end() ? std::string() : header->second;
}

std::vector<std::string> Response_Headers::Values(std::string_view name) const {
    std::vector<std::string> values;
    for (const auto& [header, value] : m_Headers) {
        if (Util::Equals_Ignoring_Case(header, name)) {
            values.push_back(value);
        }
    }
    return values;
}

} // namespace QEL::FrontEnd::Platform
