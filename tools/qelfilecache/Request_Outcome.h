#pragma once

#include <optional>
#include <string>

namespace QEL::FrontEnd::Tool {

/// What the cache returned for one request.
struct Request_Outcome {
    std::string request;
    int request_kind = 0;
    std::string path;
    bool download_error = false;
    std::optional<int> http_error;       ///< none: the cache left it unwritten
    std::optional<int> file_share_error; ///< none: the cache left it unwritten
    std::string additional_error_info;
};

/// True when a request holds a character that the system refuses: a web address any control character, a path a line
/// break or NUL.
bool Holds_Refused_Character(const std::string& request);

/// What makes a web address one that no server can be asked for, such as "the address names no
/// server"; empty when its form is sound.
std::string Malformation(const std::string& url);

/// For a request that was not served: why, and what to do next, in two lines.
std::string Explain_Failure(const Request_Outcome& outcome);

/// The same for a request that was served from the copy of an earlier download.
std::string Explain_Old_Copy(const Request_Outcome& outcome);

} // namespace QEL::FrontEnd::Tool
