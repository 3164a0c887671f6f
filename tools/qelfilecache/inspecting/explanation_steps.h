#pragma once

#include "tools/qelfilecache/inspecting/explained_request.h"

#include <string>

/// The steps of an explanation, a sentence or a few each.
namespace QEL::FrontEnd::Tool {

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
