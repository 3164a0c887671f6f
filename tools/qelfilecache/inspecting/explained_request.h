#pragma once

#include "filecache/inspection/Cache_Inspection.h"

#include <cstdint>
#include <optional>
#include <string>

namespace QEL::FrontEnd::Tool {

/// All that is known of how one request would be served.
struct Explained_Request {
    FileCache::Request_Explanation request;
    std::optional<FileCache::Remote_Answer> remote; ///< none: the remote side was not asked
    FileCache::Inspected_Setting expiry_period;
    FileCache::Inspected_Setting certificate_mode;
    std::optional<std::uintmax_t> copy_size;
    std::string directory_problem; ///< why no copy can be written to the cache directory; empty: it can

    bool Has_Copy() const { return request.entry && request.entry->copy_exists; }

    bool Is_Share() const { return request.kind == FileCache::Request_Explanation::Kind::Share; }

    bool Is_Https() const { return request.normalised.starts_with("https:"); }

    /// What is asked for changes, within a sentence.
    std::string Other_Side() const { return Is_Share() ? "the share" : "the server"; }
};

} // namespace QEL::FrontEnd::Tool
