#pragma once

#include "tools/qelfilecache/inspecting/explained_request.h"

#include <string>

namespace QEL::FrontEnd::Tool {

/// What an explanation comes to.
struct Verdict {
    std::string text; ///< one line; the sentence goes on from "The request"
    bool served;      ///< false: nothing would be served, for certain
};

/// On a request for a web file or one on a share.
Verdict Verdict_On(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
