#include "tools/qelfilecache/Command.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"

namespace QEL::FrontEnd::Tool {

namespace {

Exit_Status Purge(const Settings& settings) {
    const auto opened = Open_Existing_Cache(settings);
    if (!opened) {
        return Exit_Served; // nothing has been cached yet
    }
    opened->cache->Purge_Cache_Folder();

    // The cache does not tell which copies stayed.
    const auto left = Cached_Copies(opened->directory);
    if (left.empty()) {
        return Exit_Served;
    }
    std::string message = "these copies could not be deleted:";
    for (const auto& copy : left) {
        message += "\n  " + Printable(Host::To_Text(copy));
    }
    Write_Message(message + "\n  Close the programs that have one open, check the permissions of the cache directory, "
                            "try again.");
    return Exit_Not_Served;
}

} // namespace

Command Purge_Command() {
    return {"purge",
            "Delete every copy in the cache directory, known or not",
            "Deletes what has the shape of a cached copy's name, and nothing else.\n\n"
            "Example:\n  qelfilecache --cache-dir /var/cache/landscape purge",
            {},
            Purge};
}

} // namespace QEL::FrontEnd::Tool
