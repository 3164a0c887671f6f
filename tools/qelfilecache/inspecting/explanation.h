#pragma once

#include "tools/qelfilecache/inspecting/verdict.h"

#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// How a request would be served, in words for an administrator.
struct Explanation {
    std::vector<std::string> steps; ///< a sentence or a few each, in the order in which the cache decides
    std::string verdict;            ///< one line; the sentence goes on from "The request"
    Expected_Outcome expected;
};

Explanation Explain(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
