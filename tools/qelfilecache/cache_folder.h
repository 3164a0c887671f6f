#pragma once

#include "filecache/inspection/Cache_Inspection.h"
#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/neighbours.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::FileCache {
struct IFileCache;
}

namespace QEL::FrontEnd::Tool {

/// The cache of this run, opened on its directory.
struct Open_Cache {
    std::shared_ptr<FileCache::IFileCache> cache;
    std::filesystem::path directory;
    std::unique_ptr<Util::FileSystem::Directory_Mark> mark; ///< for as long as the run lasts
    bool metadata_loaded = false;                           ///< false: the metadata file is damaged
};

/// Opens the cache; creates the default directory when it is not there yet.
/// @param force use a directory that is another user's, in use, or holds copies without a list.
/// @throws Usage_Error when the directory is missing or cannot be used.
Open_Cache Open_Or_Create_Cache(const Settings& settings, bool force);

/// Opens the cache; nothing when it is the default one and its directory is not there yet.
/// @param check looks at the directory before the cache does, and before anything is traced.
/// @throws Usage_Error when the directory is missing or cannot be used, and what the check throws.
std::optional<Open_Cache> Open_Existing_Cache(const Settings& settings, bool force,
                                              void (*check)(const std::filesystem::path& directory) = nullptr);

/// The cache of this run, to be looked into and not to be changed.
struct Open_Inspection {
    std::filesystem::path directory; ///< empty: it is the default one, and is not there yet
    std::unique_ptr<FileCache::Cache_Inspection> cache;
};

/// Opens the cache directory for looking; it need not be writable. Names the other processes that use it. Warns of a
/// damaged metadata file and of places of the configuration that had to be passed over.
/// @throws Usage_Error when the directory is missing or cannot be used.
Open_Inspection Inspect_Cache(const Settings& settings);

/// Warns of what cannot be meant in the configuration.
void Warn_Of_Configuration();

/// "the cache in 'DIR' of user 'U'", for answers that find nothing there.
/// @param directory as Inspect_Cache returns it.
std::string Name_Of_Cache(const std::filesystem::path& directory);

/// The end of answers that find nothing.
inline constexpr const char* Another_Directory = "; --cache-dir names another directory";

/// Size of a copy in bytes; none when it is unknown.
std::optional<std::uintmax_t> Size_Of_Copy(const std::string& copy);

/// How many bytes a server sent for a copy: on Windows a line end was one, and the copy, a text file there, has two.
/// None when it cannot be read.
std::optional<std::uintmax_t> Length_As_Sent(const std::string& copy);

/// What keeps this user from reading a copy that is there, such as "is a directory"; empty when nothing does, or the
/// file is not named like a copy.
std::string Fault_Of_Copy(const std::string& copy);

/// The same of a file of any name.
std::string Fault_Of_File(const std::string& name);

/// Why no copy can be written into the directory of a cache that is looked into, such as "the cache directory 'DIR' is
/// not writable for this user", and what follows; empty when it can, or when the directory can be created.
/// @param directory as Inspect_Cache returns it.
Advice Why_No_Copy_Fits(const std::filesystem::path& directory);

/// Why 'get' refuses a directory that it can write to, although the front end is served; empty when it does not.
/// @param directory as Inspect_Cache returns it.
/// @return the cause without a full stop, then what else 'get' says in lines of their own.
std::string Why_Get_Refuses(const std::filesystem::path& directory);

/// True when the first request deletes the copies, because the list knows the directory by another name.
/// @param directory as Inspect_Cache returns it.
bool Would_Lose_Copies(const std::filesystem::path& directory);

/// The files in a cache directory that are cached copies by the shape of their names.
std::vector<std::filesystem::path> Cached_Copies(const std::filesystem::path& directory);

/// " is damaged", or that another version of the program wrote it, of a metadata file that cannot be read to its end.
/// @param if_damaged and if_foreign how the sentence goes on.
std::string Fault_Of_Unsound_List(const std::filesystem::path& directory, const std::string& if_damaged,
                                  const std::string& if_foreign);

/// The metadata file of a cache directory.
std::filesystem::path Metadata_File(const std::filesystem::path& directory);

} // namespace QEL::FrontEnd::Tool
