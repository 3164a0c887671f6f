#pragma once

#include <filesystem>

namespace QEL::FrontEnd::Tool {

/// Saves what the cache is about to lose because its metadata file is damaged: the file itself,
/// which the next change overwrites, and the copies, of which the first request sweeps away those
/// that no readable entry names. All go to a folder of their own in the cache directory.
/// @return that folder; the existing one when this very damage was saved before.
/// @throws std::filesystem::filesystem_error when it cannot be done.
std::filesystem::path Save_Damaged_Metadata(const std::filesystem::path& cache_directory);

} // namespace QEL::FrontEnd::Tool
