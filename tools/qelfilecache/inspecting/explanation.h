#pragma once

#include "tools/qelfilecache/inspecting/explained_request.h"

#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// How a request would be served, in words for an administrator.
struct Explanation {
    std::vector<std::string> steps; ///< a sentence or a few each, in the order in which the cache decides
    std::string verdict;            ///< one line; the sentence goes on from "The request"
    bool served = true;             ///< false: nothing would be served, for certain
};

Explanation Explain(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
