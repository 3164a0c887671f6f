#pragma once

#include "filecache/inspection/Cache_Inspection.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// All that is known of how one request would be served.
struct Explained_Request {
    FileCache::Request_Explanation request;
    std::optional<FileCache::Remote_Answer> remote; ///< none: the remote side was not asked
    FileCache::Inspected_Setting expiry_period;
    FileCache::Inspected_Setting certificate_mode;
    std::optional<std::uintmax_t> copy_size;
    std::string directory_problem; ///< why no copy can be written to the cache directory; empty: it can
};

/// The same in words for an administrator.
struct Explanation {
    std::vector<std::string> steps; ///< a sentence or a few each, in the order in which the cache decides
    std::string verdict;            ///< one line; the sentence goes on from "The request"
    bool served = true;             ///< false: nothing would be served, for certain
};

Explanation Explain(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
