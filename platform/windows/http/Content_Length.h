#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// The number of a Content-Length header; nothing for a text that is none.
std::optional<std::uint64_t> Content_Length(std::string_view content_length);

} // namespace QEL::FrontEnd::Platform
