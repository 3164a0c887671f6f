#include "tools/qelfilecache/Command.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/output.h"

namespace QEL::FrontEnd::Tool {

namespace {

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
    Write_Message("not every copy could be deleted.\n"
                  "  Close the programs that have one open, check the permissions of the cache directory, try again.");
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

} // namespace QEL::FrontEnd::Tool
