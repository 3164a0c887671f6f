#include "tools/qelfilecache/damaged_metadata.h"

#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

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

} // namespace

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

} // namespace QEL::FrontEnd::Tool
