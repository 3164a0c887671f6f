#pragma once

#include "tools/qelfilecache/inspecting/explained_request.h"
#include "tools/trace_reader/trace_reader.h"

#include <optional>
#include <string>

namespace QEL::FrontEnd::Tool {

/// None: it depends on what the remote side says, or on whether a download succeeds where the check alone is refused.
using Expected_Outcome = std::optional<Trace_Reading::Outcome>;

/// What a trace would say of the request, when a download meets what the check has met.
Expected_Outcome Outcome_Expected_Of(const Explained_Request& explained);

/// What an explanation of a request for a web file or one on a share comes to: one line, the sentence goes on from
/// "The request".
std::string Verdict_On(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
