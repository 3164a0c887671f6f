#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::Platform {

/// The value of a header as the cache keeps it: without white space around it, spaces for control characters
/// (RFC 9110, 5.5).
///
/// What a server sends ends up as a line of the metadata file. A line feed would forge the next one, and
/// the byte 1A ends a file that is read as text: the entries behind it, or the whole list, would be lost.
std::string Clean_Header_Value(std::string_view raw);

/// The number of a Content-Length header; nothing for a text that is not a number of 64 bits with sign.
std::optional<std::uint64_t> Content_Length(std::string_view text);

/// The headers of one response.
///
/// The values are clean.
class Response_Headers {
public:
    /// Takes a line as it came from the server: a header, the continuation of the one before (a line
    /// that begins with white space), or anything else, which is dropped.
    void Add_Line(std::string_view line);

    /// The value of the first header of that name (any letter case), as Windows' clients answer;
    /// empty when there is none.
    std::string Value(std::string_view name) const;

    /// The values of all headers of that name, in the server's order.
    std::vector<std::string> Values(std::string_view name) const;

private:
    std::vector<std::pair<std::string, std::string>> m_Headers;
};

} // namespace QEL::FrontEnd::Platform
