#include "platform/common/Response_Headers.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "util/Control_Characters.h"

namespace QEL::FrontEnd::Platform {

namespace {

char To_Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

std::string Clean_Header_Value(std::string_view raw) {
    std::string value(raw);
    const auto breaks_a_line = [](char c) { return c != '\t' && Util::Is_Control_Character(c); };
    std::replace_if(value.begin(), value.end(), breaks_a_line, ' ');
    const auto first = value.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return {};
    }
    const auto last = value.find_last_not_of(" \t");
    return value.substr(first, last - first + 1);
}

std::optional<std::uint64_t> Content_Length(std::string_view text) {
    std::uint64_t length = 0;
    const char* const text_end = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), text_end, length);
    const bool is_length = error == std::errc() && end == text_end && length <= INT64_MAX;
    return is_length ? std::optional(length) : std::nullopt;
}

bool Equal_Without_Case(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return To_Lower(a) == To_Lower(b); });
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
                                     [&](const auto& entry) { return Equal_Without_Case(entry.first, name); });
    return header == m_Headers.end() ? std::string() : header->second;
}

std::vector<std::string> Response_Headers::Values(std::string_view name) const {
    std::vector<std::string> values;
    for (const auto& [header, value] : m_Headers) {
        if (Equal_Without_Case(header, name)) {
            values.push_back(value);
        }
    }
    return values;
}

} // namespace QEL::FrontEnd::Platform
