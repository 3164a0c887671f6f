#pragma once

#include "tools/qelfilecache/inspecting/explained_request.h"
#include "tools/trace_reader/trace_reader.h"

#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// None: it depends on what the remote side says, or on whether a download succeeds where the check alone is refused.
using Expected_Outcome = std::optional<Trace_Reading::Outcome>;

/// How a request would be served, in words for an administrator.
struct Explanation {
    std::vector<std::string> steps; ///< a sentence or a few each, in the order in which the cache decides
    std::string verdict;            ///< one line; the sentence goes on from "The request"
    Expected_Outcome expected;
};

Explanation Explain(const Explained_Request& explained);

// Its parts.

/// What a trace would say of the request, when a download meets what the check has met.
Expected_Outcome Outcome_Expected_Of(const Explained_Request& explained);

/// What an explanation of a request for a web file or one on a share comes to: one line, the sentence goes on from
/// "The request".
std::string Verdict_On(const Explained_Request& explained);

/// What the cache makes of the text of the request.
std::string Kind_Step(const Explained_Request& explained);

/// Whether there is an entry and its copy.
std::string Entry_Step(const Explained_Request& explained);

/// Whether the copy is fresh, and for how long. The request has one.
std::string Freshness_Step(const Explained_Request& explained);

/// What follows when the remote side is asked.
std::string Question_Step(const Explained_Request& explained);

/// For how long a server is not asked again that cost time in vain.
std::string Retry_Step(const Explained_Request& explained);

/// What is done when the server's certificate is not valid.
std::string Certificate_Step(const Explained_Request& explained);

/// What the remote side said when it was asked. The request has its response.
std::string Response_Step(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
