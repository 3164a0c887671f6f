#pragma once

#include <optional>
#include <string>

namespace QEL::FrontEnd::Tool {

/// What the cache returned for one request.
struct Request_Outcome {
    std::string request;
    std::string path;
    bool download_error = false;
    std::optional<int> http_error;       ///< none: the cache left it unwritten
    std::optional<int> file_share_error; ///< none: the cache left it unwritten
    std::string additional_error_info;
    bool is_valid = true;       ///< see Cache_Inspection::Is_Valid
    bool left_in_place = false; ///< see Cache_Inspection::Is_Left_In_Place
};

/// For a request that was not served: why, and what to do next, in two lines.
std::string Explain_Failure(const Request_Outcome& outcome);

/// The same for a request that was served from the copy of an earlier download.
std::string Explain_Old_Copy(const Request_Outcome& outcome);

} // namespace QEL::FrontEnd::Tool
