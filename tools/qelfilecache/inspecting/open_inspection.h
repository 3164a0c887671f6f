#pragma once

#include "filecache/inspection/Cache_Inspection.h"
#include "tools/qelfilecache/Command.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

namespace QEL::FrontEnd::Tool {

/// The cache of this run, to be looked into and not to be changed.
struct Open_Inspection {
    std::filesystem::path directory; ///< empty: it is the default one, and is not there yet
    std::unique_ptr<FileCache::Cache_Inspection> cache;
};

/// Opens the cache directory for looking; it need not be writable. Warns of a damaged metadata file
/// and of places of the configuration that had to be passed over.
/// @throws Usage_Error when the directory is missing or cannot be used.
Open_Inspection Inspect_Cache(const Settings& settings);

/// Size of a copy in bytes; none when it is unknown.
std::optional<std::uintmax_t> Size_Of_Copy(const std::string& copy);

} // namespace QEL::FrontEnd::Tool
