#include "tools/qelfilecache/Command.h"

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

Exit_Status Clear(const Settings& settings) {
    const auto opened = Open_Existing_Cache(settings);
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

Exit_Status Purge(const Settings& settings) {
    const auto opened = Open_Existing_Cache(settings);
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

} // namespace

Command Clear_Command() {
    return {"clear", "Forget every cached file and delete its copy", clear_help, {}, Clear};
}

Command Purge_Command() {
    return {"purge",
            "Delete every copy in the cache directory, known or not",
            "Deletes what has the shape of a cached copy's name, and nothing else.\n\n"
            "Example:\n  qelfilecache --cache-dir /var/cache/landscape purge",
            {},
            Purge};
}

} // namespace QEL::FrontEnd::Tool
