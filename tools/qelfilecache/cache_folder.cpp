#include "tools/qelfilecache/cache_folder.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "trace/Set_Trace_Level.h"
#include "util/Control_Characters.h"

#include <fstream>

namespace QEL::FrontEnd::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* given_directory = "--cache-dir";
constexpr const char* default_directory = "the default cache directory";

std::string Quoted_Path(const fs::path& path) {
    return Quoted(Host::To_Text(path));
}

/// A directory as it is written from here on. The cache takes two spellings of one directory for
/// two directories and then sweeps away the copies of the other spelling.
fs::path One_Spelling(const std::string& text, const char* option) {
    if (text.empty() || Util::Holds_Control_Character(text)) {
        throw Usage_Error(std::string(option) + " " + Quoted(text) + " names no directory");
    }
    fs::path directory = fs::absolute(Host::To_Path(text)).lexically_normal();
    return directory.has_filename() || !directory.has_relative_path() ? directory : directory.parent_path();
}

void Require_Directory(const fs::path& directory, const std::string& subject) {
    std::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (status.type() == fs::file_type::not_found) {
        throw Usage_Error(subject + " does not exist; create it or name another one");
    }
    if (error) {
        throw Usage_Error(subject + " cannot be examined: " + error.message());
    }
    if (!fs::is_directory(status)) {
        throw Usage_Error(subject + " is not a directory; name a directory");
    }
}

void Require_Usable_Directory(const fs::path& directory, const char* option) {
    const std::string subject = std::string(option) + " " + Quoted_Path(directory);
    Require_Directory(directory, subject);
    if (!Host::Is_Writable_Directory(directory)) {
        throw Usage_Error(subject + " is not writable; change its permissions or name another one");
    }
}

/// A metadata file that cannot be opened reads as an empty cache, whose copies are then swept away.
void Require_Usable_Metadata_File(const fs::path& directory) {
    const fs::path metadata_file = Metadata_File(directory);
    std::error_code ignored;
    if (!fs::exists(fs::symlink_status(metadata_file, ignored))) {
        return;
    }
    if (!fs::is_regular_file(metadata_file, ignored) || !std::fstream(metadata_file, std::ios::in | std::ios::out)) {
        throw Usage_Error("the cache's metadata file " + Quoted_Path(metadata_file) +
                          " cannot be read and written; change its permissions, or move it away to start afresh");
    }
}

/// Before anything is traced: the first record opens the trace file.
void Start_Tracing(const Settings& settings) {
    if (settings.trace_directory) {
        // The cache has room for 259 characters and would take the current directory instead.
        constexpr std::size_t longest = 259;
        const fs::path directory = One_Spelling(*settings.trace_directory, "--trace-dir");
        Require_Usable_Directory(directory, "--trace-dir");
        const std::string text = Host::To_Text(directory);
        if (text.size() > longest) {
            throw Usage_Error("--trace-dir " + Quoted_Path(directory) + " is longer than 259 characters");
        }
        if (settings.trace_level == 0) {
            Write_Message("note: --trace-dir has no effect without --trace-level 1 to 5");
        }
        Host::Set_Environment_Variable("QEL_TRACE_DIR", text);
    }
    if (settings.trace_level != 0) {
        FileCache::Set_Trace_Level(static_cast<FileCache::QELPCTRC_LEVEL>(settings.trace_level));
    }
}

Open_Cache Open(const Settings& settings, const fs::path& directory, const char* option) {
    Require_Usable_Directory(directory, option);
    Require_Usable_Metadata_File(directory);
    Start_Tracing(settings);
    Open_Cache opened{FileCache::IFileCache::Instance(), directory, false};
    opened.metadata_loaded = opened.cache->Set_Cache_Directory(Host::To_Text(directory));
    return opened;
}

fs::path Default_Directory() {
    const fs::path directory = Host::Default_Cache_Directory();
    if (directory.empty()) {
        throw Usage_Error(std::string("there is no default cache directory: ") + Host::No_Default_Cache_Directory());
    }
    return directory.lexically_normal();
}

/// A UUID in its groups of 8, 4, 4, 4 and 12, a dot, and any extension.
bool Is_Cached_Copy(const std::string& name) {
    constexpr std::size_t uuid_length = 36;
    const auto is_hyphen = [&name](std::size_t position) { return name[position] == '-'; };
    return name.size() > uuid_length && name[uuid_length] == '.' && is_hyphen(8) && is_hyphen(13) && is_hyphen(18) &&
           is_hyphen(23);
}

} // namespace

Open_Cache Open_Or_Create_Cache(const Settings& settings) {
    if (settings.cache_directory) {
        return Open(settings, One_Spelling(*settings.cache_directory, given_directory), given_directory);
    }
    const fs::path directory = Default_Directory();
    try {
        Host::Create_Private_Directory(directory);
    } catch (const fs::filesystem_error& error) {
        throw Usage_Error(std::string(default_directory) + " " + Quoted_Path(directory) +
                          " cannot be created: " + error.code().message() + "; give --cache-dir");
    }
    return Open(settings, directory, default_directory);
}

std::optional<Open_Cache> Open_Existing_Cache(const Settings& settings) {
    if (settings.cache_directory) {
        return Open(settings, One_Spelling(*settings.cache_directory, given_directory), given_directory);
    }
    const fs::path directory = Default_Directory();
    std::error_code ignored;
    if (!fs::exists(directory, ignored)) {
        return std::nullopt;
    }
    return Open(settings, directory, default_directory);
}

fs::path Directory_To_Inspect(const Settings& settings) {
    const char* const option = settings.cache_directory ? given_directory : default_directory;
    const fs::path directory =
        settings.cache_directory ? One_Spelling(*settings.cache_directory, given_directory) : Default_Directory();
    std::error_code ignored;
    if (!settings.cache_directory && !fs::exists(directory, ignored)) {
        Start_Tracing(settings);
        return {};
    }
    const std::string subject = std::string(option) + " " + Quoted_Path(directory);
    Require_Directory(directory, subject);
    std::error_code unreadable;
    if (fs::directory_iterator(directory, unreadable); unreadable) {
        throw Usage_Error(subject + " cannot be read: " + unreadable.message() + "; change its permissions");
    }
    const fs::path metadata_file = Metadata_File(directory);
    if (fs::exists(fs::symlink_status(metadata_file, ignored)) &&
        (!fs::is_regular_file(metadata_file, ignored) || !std::ifstream(metadata_file))) {
        throw Usage_Error("the cache's metadata file " + Quoted_Path(metadata_file) +
                          " cannot be read; change its permissions");
    }
    Start_Tracing(settings);
    return directory;
}

std::string Why_Not_Writable(const fs::path& directory) {
    if (!directory.empty()) {
        return Host::Is_Writable_Directory(directory)
                   ? std::string()
                   : "the cache directory " + Quoted_Path(directory) + " is not writable for this user";
    }
    // The default one is created with the first request, below the part of its path that exists.
    const fs::path wanted = Default_Directory();
    fs::path existing = wanted;
    std::error_code ignored;
    while (!fs::exists(existing, ignored) && existing.has_relative_path()) {
        existing = existing.parent_path();
    }
    return Host::Is_Writable_Directory(existing)
               ? std::string()
               : std::string(default_directory) + " " + Quoted_Path(wanted) +
                     " cannot be created: " + Quoted_Path(existing) + " is not writable for this user";
}

std::vector<fs::path> Cached_Copies(const fs::path& directory) {
    std::vector<fs::path> copies;
    for (const auto& file : fs::directory_iterator(directory)) {
        if (Is_Cached_Copy(Host::To_Text(file.path().filename()))) {
            copies.push_back(file.path());
        }
    }
    return copies;
}

fs::path Metadata_File(const fs::path& directory) {
    return directory / "qelfilecache_Metadata.txt";
}

} // namespace QEL::FrontEnd::Tool
