#pragma once

#include "util/Directory_Mark.h"

#include <filesystem>
#include <memory>
#include <string>

/// Whom a cache directory belongs to, and who else works on it. A command that changes the cache neither follows nor
/// deletes what is somebody else's.
namespace QEL::FrontEnd::Tool {

/// "user 'NAME'", whom what stands there belongs to, or "another user" where the system does not say.
std::string Named_Owner_Of(const std::filesystem::path& path);

/// Sees that a list of copies may be used: it is no link, and belongs to this user or to the machine.
/// @throws Usage_Error
void Require_Own_List(const std::filesystem::path& list);

/// Marks a directory as in use by this run. Unless forced, sees that it belongs to this user and is in use by nobody
/// else, and waits up to ten seconds for another run of the tool.
/// @param subject how messages name the directory.
/// @throws Usage_Error
std::unique_ptr<Util::FileSystem::Directory_Mark> Take_Directory(const std::filesystem::path& directory,
                                                                 const std::string& subject, bool force);

/// Names the other processes that have marked the directory, as in "process 4711 (pad)"; empty: none.
std::string Other_Users_Of(const std::filesystem::path& directory);

/// True when the file lies in the directory or below it, whatever links and letter case its path is written with.
bool Lies_In(const std::filesystem::path& file, const std::filesystem::path& directory);

} // namespace QEL::FrontEnd::Tool
