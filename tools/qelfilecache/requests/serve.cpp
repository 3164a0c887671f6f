#include "tools/qelfilecache/requests/serve.h"

#include "filecache/IFileCache.h"
#include "filecache/inspection/Cache_Inspection.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>

namespace QEL::FrontEnd::Tool {

namespace {

namespace fs = std::filesystem;

bool Same_Content(const fs::path& left, const fs::path& right) {
    std::ifstream left_file(left, std::ios::binary);
    std::ifstream right_file(right, std::ios::binary);
    using Bytes = std::istreambuf_iterator<char>;
    return left_file && right_file && std::equal(Bytes(left_file), Bytes(), Bytes(right_file), Bytes());
}

/// The folder that holds this damaged file already, else the first free name.
fs::path Folder_For(const fs::path& metadata_file) {
    for (int number = 1;; ++number) {
        fs::path folder = metadata_file.parent_path() / ("qelfilecache_damaged-" + std::to_string(number));
        if (!fs::exists(folder) || Same_Content(metadata_file, folder / metadata_file.filename())) {
            return folder;
        }
    }
}

/// A second name for the file: a copy is never written to again, so it costs no space. A copy of it
/// where the file system knows no second names.
void Save_Copy(const fs::path& copy, const fs::path& saved_copy) {
    std::error_code cannot_link;
    fs::create_hard_link(copy, saved_copy, cannot_link);
    if (cannot_link && !fs::exists(saved_copy)) {
        fs::copy_file(copy, saved_copy);
    }
}

/// Saves what the cache is about to lose because its metadata file is damaged: the file itself,
/// which the next change overwrites, and the copies, of which the first request sweeps away those
/// that no readable entry names. All go to a folder of their own in the cache directory.
/// @return that folder; the existing one when this very damage was saved before.
/// @throws std::filesystem::filesystem_error when it cannot be done.
fs::path Save_Damaged_Metadata(const fs::path& cache_directory) {
    const fs::path metadata_file = Metadata_File(cache_directory);
    fs::path folder = Folder_For(metadata_file);
    Host::Create_Private_Directory(folder);
    for (const fs::path& copy : Cached_Copies(cache_directory)) {
        Save_Copy(copy, folder / copy.filename());
    }
    // Last: a folder that holds the metadata file is complete.
    fs::copy_file(metadata_file, folder / metadata_file.filename(), fs::copy_options::overwrite_existing);
    return folder;
}

/// Saves what a damaged metadata file is about to cost, and says so.
void Save_And_Warn(const std::filesystem::path& directory) {
    const std::string metadata_file = Quoted(Host::To_Text(Metadata_File(directory)));
    const std::string damage =
        Fault_Of_Unsound_List(directory, "; the entries after the damage are lost.", "; its entries are lost.");
    try {
        const auto folder = Save_Damaged_Metadata(directory);
        Write_Message("warning: the metadata file " + metadata_file + damage +
                      "\n  The file and all copies are "
                      "saved in " +
                      Quoted(Host::To_Text(folder)) + "; delete that folder when you no longer need them.");
    } catch (const std::filesystem::filesystem_error& error) {
        throw Usage_Error("the metadata file " + metadata_file + Fault_Of_Unsound_List(directory, " and", " and") +
                          " cannot be saved: " + error.code().message() +
                          "; free some space, or move it away to start with an empty cache");
    }
}

} // namespace

Open_Cache Open_For_Requests(const Settings& settings, bool force) {
    Open_Cache opened = Open_Or_Create_Cache(settings, force);
    Warn_Of_Configuration();
    if (!opened.metadata_loaded) {
        Save_And_Warn(opened.directory);
    }
    return opened;
}

Request_Outcome Serve(FileCache::IFileCache& cache, const std::string& request, int request_kind) {
    // No operation of the cache returns this code: it shows what was left unwritten.
    constexpr int unwritten = std::numeric_limits<int>::min();
    int http_error = unwritten;
    int file_share_error = unwritten;

    Request_Outcome outcome;
    outcome.request = request;
    outcome.path =
        cache.Get_Cached_File_and_Status(request, request_kind, outcome.download_error, &http_error, &file_share_error);
    if (http_error != unwritten) {
        outcome.http_error = http_error;
    }
    if (file_share_error != unwritten) {
        outcome.file_share_error = file_share_error;
    }
    outcome.last = FileCache::Get_Last_Request_Info();
    outcome.additional_error_info = cache.Get_Additional_Error_Info();
    if (outcome.path.empty() || outcome.download_error) {
        outcome.is_valid = FileCache::Cache_Inspection::Is_Valid(request);
        outcome.proxy = FileCache::Cache_Inspection::Proxy_For(request);
    }
    const bool was_tried = outcome.http_error || outcome.file_share_error;
    outcome.left_in_place = outcome.path.empty() && !was_tried && outcome.is_valid &&
                            FileCache::Cache_Inspection::Is_Left_In_Place(request, request_kind);
    return outcome;
}

void Report(const Request_Outcome& outcome) {
    const std::string request = Quoted(outcome.request) + ": ";
    if (outcome.path.empty()) {
        Write_Message(request + Explain_Failure(outcome));
        return;
    }
    if (outcome.download_error) {
        Write_Message("notice: " + request + Explain_Old_Copy(outcome));
    }
    const bool is_local = outcome.path == outcome.request;
    if (const std::string fault = is_local ? Fault_Of_File(outcome.path) : Fault_Of_Copy(outcome.path);
        !fault.empty()) {
        Write_Message("warning: " + request + (is_local ? "the file" : "the copy " + Quoted(outcome.path)) + " " +
                      fault + "\n  Next: change its permissions." +
                      (is_local ? std::string() : std::string(" Or ") + Clear_Remedy));
    }
}

} // namespace QEL::FrontEnd::Tool
