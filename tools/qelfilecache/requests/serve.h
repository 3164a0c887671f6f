#pragma once

#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/cache_folder.h"

#include <string>

namespace QEL::FrontEnd::Tool {

/// The kind of an ordinary request.
inline constexpr int ordinary_request = 213;

/// Opens the cache for requests. When its metadata file is damaged, saves first what the first
/// request is about to lose, and says so.
/// @param force as of Open_Or_Create_Cache.
/// @throws Usage_Error when the directory is missing or cannot be used.
Open_Cache Open_For_Requests(const Settings& settings, bool force);

/// Has the cache serve one request.
Request_Outcome Serve(FileCache::IFileCache& cache, const std::string& request, int request_kind);

/// Says on standard error what a person should know of it: why there is no copy, or that it is an
/// older one. Nothing when all went well.
void Report(const Request_Outcome& outcome);

} // namespace QEL::FrontEnd::Tool
