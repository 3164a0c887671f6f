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
    Write_Message("these copies could not be deleted:" + Indented_Lines(names) +
                  "\n  Close the programs that have one open, check the permissions of the cache directory, "
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
