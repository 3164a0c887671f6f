#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

constexpr const char* deletion_advice =
    "\n  Close the programs that have one open, check the permissions of the cache directory, try again.";

/// The library deletes what the list names, wherever that lies.
void Require_Copies_In_Directory(const std::filesystem::path& directory) {
    std::vector<std::string> outside;
    for (const auto& entry : FileCache::Cache_Inspection(Host::To_Text(directory)).Entries()) {
        if (entry.copy_exists && !Lies_In(Host::To_Path(entry.copy), directory)) {
            outside.push_back(entry.copy);
        }
    }
    if (!outside.empty()) {
        throw Usage_Error(
            "the cache's metadata file " + Quoted(Host::To_Text(Metadata_File(directory))) +
            " names files outside of its directory, which 'clear' never deletes:" + Indented_Lines(outside) +
            "\n  Next: move that list away; 'qelfilecache purge' deletes the copies in the directory.");
    }
}

Exit_Status Clear(const Settings& settings, const bool& force) {
    const auto opened = Open_Existing_Cache(settings, force, Require_Copies_In_Directory);
    if (!opened) {
        return Exit_Served; // nothing has been cached yet
    }
    if (!opened->metadata_loaded) {
        Write_Message("warning: the metadata file is damaged, so only the entries before the damage are cleared.\n"
                      "  'qelfilecache purge' deletes every copy.");
    }
    if (opened->cache->Clear()) {
        return Exit_Served;
    }
    Write_Message(std::string("not every copy could be deleted.") + deletion_advice);
    return Exit_Not_Served;
}

Exit_Status Purge(const Settings& settings, const bool& force) {
    const auto opened = Open_Existing_Cache(settings, force);
    if (!opened) {
        return Exit_Served; // nothing has been cached yet
    }
    opened->cache->Purge_Cache_Folder();

    // The cache does not say which copies stayed.
    const auto left = Cached_Copies(opened->directory);
    if (left.empty()) {
        return Exit_Served;
    }
    std::vector<std::string> names;
    std::transform(left.begin(), left.end(), std::back_inserter(names), Host::To_Text);
    Write_Message("these copies could not be deleted:" + Indented_Lines(names) + deletion_advice);
    return Exit_Not_Served;
}

constexpr const char* clear_help =
    "Deletes the copies. The list on disk keeps its lines until the next file is fetched: 'list' marks them \"copy\n"
    "missing\" meanwhile. Every request fetches its file again.\n\n"
    "Example:\n"
    "  qelfilecache clear";

constexpr const char* purge_help = "Deletes what has the shape of a cached copy's name, and nothing else.\n\n"
                                   "Example:\n  qelfilecache --cache-dir /var/cache/landscape purge";

void Declare_Options(Command_Options& parser, bool& force) {
    parser.Force(force);
}

} // namespace

Command Clear_Command() {
    return Make_Command("clear", "Forget every cached file and delete its copy", clear_help, &Declare_Options, &Clear);
}

Command Purge_Command() {
    return Make_Command("purge", "Delete every copy in the cache directory, known or not", purge_help, &Declare_Options,
                        &Purge);
}

} // namespace QEL::FrontEnd::Tool
