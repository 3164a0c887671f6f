#include "platform/windows/http/Content_Length.h"

#include <charconv>
#include <system_error>

namespace QEL::FrontEnd::Platform {

std::optional<std::uint64_t> Content_Length(std::string_view content_length) {
    std::uint64_t length = 0;
    const char* const text_end = content_length.data() + content_length.size();
    const auto [end, error] = std::from_chars(content_length.data(), text_end, length);
    return error == std::errc() && end == text_end ? std::optional(length) : std::nullopt;
}

} // namespace QEL::FrontEnd::Platform
