#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/inspecting/times.h"
#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
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
        throw Usage_Error("the cache's metadata file " + Quoted(Host::To_Text(Metadata_File(directory))) +
                          " names files outside its directory, which 'clear' never deletes:" + Indented_Lines(outside) +
                          "\n  Next: move that file away; 'qelfilecache purge' deletes the copies in the directory.");
    }
}

/// Says what is gone, on standard error: the results are the deletions.
void Report_Deletions(const std::filesystem::path& directory, std::size_t deleted, std::uintmax_t bytes) {
    Write_Message(Util::Counted(deleted, "copy", "copies") + " (" + Size_Text(bytes) + ") deleted from " +
                  Name_Of_Cache(directory) + (deleted == 0 ? Another_Directory : ""));
}

/// Copies, and what is gone of them later.
class Watched_Copies {
public:
    void Add(const std::filesystem::path& copy) {
        std::error_code missing;
        if (const auto size = std::filesystem::file_size(copy, missing); !missing) {
            m_Sizes.emplace(copy, size);
        }
    }

    void Report(const std::filesystem::path& directory) const {
        std::size_t deleted = 0;
        std::uintmax_t bytes = 0;
        for (const auto& [copy, size] : m_Sizes) {
            std::error_code ignored;
            if (!std::filesystem::exists(copy, ignored)) {
                ++deleted;
                bytes += size;
            }
        }
        Report_Deletions(directory, deleted, bytes);
    }

private:
    std::map<std::filesystem::path, std::uintmax_t> m_Sizes;
};

struct Clear_Options {
    std::vector<std::string> requests; ///< none: all
    bool force = false;
};

/// "; did you mean 'http://server/x'?" for the path of that address's copy, and for the address without its beginning.
std::string Did_You_Mean(const std::string& request, const FileCache::Cache_Inspection& inspection) {
    const auto path = Host::Resolved(Host::To_Path(request));
    for (const auto& entry : inspection.Entries()) {
        if (entry.url == "http://" + request || entry.url == "https://" + request ||
            (!path.empty() && path == Host::Resolved(Host::To_Path(entry.copy)))) {
            return "; did you mean " + Quoted(entry.url) + "?";
        }
    }
    return std::string("; 'qelfilecache list' shows the entries") + Another_Directory;
}

void Report_Missing(const std::filesystem::path& directory, const std::string& request, const std::string& hint) {
    Write_Message(Name_Of_Cache(directory) + " has no entry for " + Quoted(request) + hint);
}

/// Forgets what is asked for.
Exit_Status Clear_Requests(const Open_Cache& opened, const Clear_Options& options, Watched_Copies& copies) {
    const FileCache::Cache_Inspection inspection(Host::To_Text(opened.directory));
    if (options.requests.empty()) {
        for (const auto& entry : inspection.Entries()) {
            copies.Add(Host::To_Path(entry.copy));
        }
        return opened.cache->Clear() ? Exit_Served : Exit_Not_Served;
    }
    Exit_Status status = Exit_Served;
    for (const std::string& request : options.requests) {
        if (const auto entry = inspection.Explain(request).entry) {
            copies.Add(Host::To_Path(entry->copy));
            status = Remove_From_Cache(*opened.cache, request) ? status : Exit_Not_Served;
        } else {
            Report_Missing(opened.directory, request, Did_You_Mean(request, inspection));
            status = status == Exit_Served ? Exit_No_Entry : status;
        }
    }
    return status;
}

Exit_Status Clear(const Settings& settings, const Clear_Options& options) {
    const auto opened = Open_Existing_Cache(settings, options.force, Require_Copies_In_Directory);
    if (!opened) { // nothing has been cached yet
        for (const std::string& request : options.requests) {
            Report_Missing({}, request, {});
        }
        Report_Deletions({}, 0, 0);
        return options.requests.empty() ? Exit_Served : Exit_No_Entry;
    }
    if (!opened->metadata_loaded) {
        Write_Message("warning: the metadata file" +
                      Fault_Of_Unsound_List(opened->directory, ", so only the entries before the damage are cleared.",
                                            ", so none of its entries is cleared.") +
                      "\n  'qelfilecache purge' deletes every copy.");
    }
    Watched_Copies copies;
    const Exit_Status status = Clear_Requests(*opened, options, copies);
    copies.Report(opened->directory);
    if (status == Exit_Not_Served) {
        Write_Message(std::string("not every copy could be deleted.") + deletion_advice);
    }
    return status;
}

Exit_Status Purge(const Settings& settings, const bool& force) {
    const auto opened = Open_Existing_Cache(settings, force);
    if (!opened) {
        Report_Deletions({}, 0, 0);
        return Exit_Served; // nothing has been cached yet
    }
    Watched_Copies copies;
    std::ranges::for_each(Cached_Copies(opened->directory), [&copies](const auto& copy) { copies.Add(copy); });
    opened->cache->Purge_Cache_Folder();
    copies.Report(opened->directory);

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
    "Deletes all copies, or those of the named requests: the next request fetches its file again.\n"
    "The list on disk keeps its lines until a file is fetched; until then, 'list' marks\n"
    "them \"copy missing\".\n\n"
    "Exit status: 0 done, 1 some copies could not be deleted, 3 the rest is done, but the cache has no entry for\n"
    "some of the named requests.\n\n"
    "Examples:\n"
    "  qelfilecache clear\n"
    "  qelfilecache clear https://server.example/landscape.xml";

constexpr const char* purge_help = "Deletes every file named like a copy, and nothing else.\n\n"
                                   "Example:\n  qelfilecache --cache-dir /var/cache/landscape purge";

void Declare_Clear_Options(Command_Options& parser, Clear_Options& options) {
    parser.Force(options.force);
    parser.Operands("REQUEST", options.requests, "Requests to forget; all if none is given", false);
}

void Declare_Purge_Options(Command_Options& parser, bool& force) {
    parser.Force(force);
}

} // namespace

Command Clear_Command() {
    return Make_Command("clear", "Forget all cached files, or the named ones, and delete their copies", clear_help,
                        &Declare_Clear_Options, &Clear);
}

Command Purge_Command() {
    return Make_Command("purge", "Delete every copy in the cache directory, known or not", purge_help,
                        &Declare_Purge_Options, &Purge);
}

} // namespace QEL::FrontEnd::Tool
