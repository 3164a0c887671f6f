#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace QEL::Fuzz {

/// A directory of this process alone below the system's one for temporary files, empty at first. It
/// stays behind: a fuzzer ends at any moment, so fuzz/run.sh removes what is left.
const std::filesystem::path& Scratch_Directory();

/// Replaces the content of a file.
void Write_File(const std::filesystem::path& path, std::string_view content);

/// Removes everything in a directory.
void Empty(const std::filesystem::path& directory);

} // namespace QEL::Fuzz
