#include "tools/qelfilecache/cache_folder.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "trace/Set_Trace_Level.h"
#include "util/Control_Characters.h"
#include "util/Visible_Text.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

namespace QEL::FrontEnd::Tool {

namespace {

namespace fs = std::filesystem;

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

/// What to do about a file or directory that this user may not use as wanted.
std::string Advice_On_Rights(fs::path path, const std::string& of_own, const char* option = default_directory) {
    std::error_code error; // below a folder that this user may not enter, nothing can be seen
    while (!fs::exists(fs::symlink_status(path, error)) && path.has_relative_path()) {
        path = path.parent_path();
    }
    const std::string owner = Host::Owner_Of(path);
    return owner.empty() || owner == Host::User_Name()
               ? "; " + of_own
               : "; it belongs to user " + Quoted(owner) +
                     ": run the command as that user, or name another directory with " +
                     (option == default_directory ? "--cache-dir" : option);
}

/// @return how messages name the directory.
std::string Require_Directory(const fs::path& directory, const char* option) {
    const std::string subject = std::string(option) + " " + Quoted_Path(directory);
    std::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (status.type() == fs::file_type::not_found) {
        throw Usage_Error(subject + " does not exist; create it or name another one");
    }
    if (error) {
        throw Usage_Error(subject + " cannot be examined: " + error.message() +
                          Advice_On_Rights(directory, "change the permissions of the folders above it", option));
    }
    if (!fs::is_directory(status)) {
        throw Usage_Error(subject + " is not a directory; name a directory");
    }
    return subject;
}

std::string Require_Usable_Directory(const fs::path& directory, const char* option) {
    std::string subject = Require_Directory(directory, option);
    if (!Host::Is_Writable_Directory(directory)) {
        throw Usage_Error(
            subject + " is not writable" +
            Advice_On_Rights(Host::Resolved(directory), "change its permissions or name another one", option));
    }
    return subject;
}

/// A metadata file that cannot be opened reads as an empty cache, whose copies are then swept away.
void Require_Usable_Metadata_File(const fs::path& directory, std::ios::openmode mode, const char* complaint,
                                  const char* remedy) {
    const fs::path metadata_file = Metadata_File(directory);
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(metadata_file, ignored)) &&
        (!fs::is_regular_file(metadata_file, ignored) || !std::fstream(metadata_file, mode))) {
        throw Usage_Error("the cache's metadata file " + Quoted_Path(metadata_file) + complaint +
                          Advice_On_Rights(metadata_file, remedy));
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

fs::path Default_Directory() {
    const fs::path directory = Host::Default_Cache_Directory();
    if (directory.empty()) {
        throw Usage_Error(std::string("there is no default cache directory: ") + Host::No_Default_Cache_Directory());
    }
    return directory.lexically_normal();
}

/// The cache directory that the settings name.
struct Named_Directory {
    fs::path path;
    const char* option = "--cache-dir";
    bool is_missing_default = false;
};

Named_Directory Directory_Of(const Settings& settings) {
    if (settings.cache_directory) {
        return {One_Spelling(*settings.cache_directory, "--cache-dir")};
    }
    const fs::path directory = Default_Directory();
    std::error_code ignored;
    return {directory, default_directory, !fs::exists(directory, ignored)};
}

/// The list names copies by full paths, and the first request deletes those that it does not name.
/// @return the list's spelling of the directory; empty when it has the copies there under no other name than this.
std::string Other_Spelling_In_List(const fs::path& directory) {
    const FileCache::Cache_Inspection cache(Host::To_Text(directory));
    std::set<fs::path> unnamed;
    for (const std::string& copy : cache.Unreferenced_Copies()) {
        unnamed.insert(Host::To_Path(copy).filename());
    }
    const auto entries = unnamed.empty() ? std::vector<FileCache::Inspected_Entry>() : cache.Entries();
    for (const FileCache::Inspected_Entry& entry : entries) {
        const fs::path name = Host::To_Path(entry.copy).filename();
        if (unnamed.contains(name) && entry.copy != Host::To_Text(name)) {
            return entry.copy.substr(0, entry.copy.size() - Host::To_Text(name).size() - 1);
        }
    }
    return {};
}

bool Is_Same_Directory(const std::string& spelling, const fs::path& directory) {
    std::error_code missing;
    return fs::equivalent(Host::To_Path(spelling), directory, missing);
}

/// The directory as the cache is to know it: as its list does when that differs in slashes and dots alone.
std::string Spelling_For_Cache(const fs::path& directory) {
    const std::string listed = Other_Spelling_In_List(directory);
    const bool is_known = !listed.empty() && !Util::Holds_Control_Character(listed) &&
                          One_Spelling(listed, "") == directory && Is_Same_Directory(listed, directory);
    return is_known ? listed : Host::To_Text(directory);
}

/// Why the first request deletes copies that the list knows in a directory of another name; empty when it does not.
/// @param subject how messages name the directory.
std::string Loss_By_Spelling(const fs::path& directory, const std::string& subject) {
    const std::string listed = Other_Spelling_In_List(directory);
    if (listed.empty() || Spelling_For_Cache(directory) == listed) {
        return {};
    }
    std::error_code ignored;
    const std::string quoted = Quoted(listed);
    return "the list in " + subject + " names its copies in " + quoted +
           ", so the first request with this spelling deletes them\n  Next: " +
           (fs::exists(Host::To_Path(listed), ignored)
                ? "use --cache-dir " + quoted
                : quoted + " does not exist: the cache was moved. Move it back") +
           ", or repeat with --force when these files may be deleted.";
}

/// What a command does with the cache.
enum class Use { Deletions, Requests };

/// @throws Usage_Error when that would cost copies.
void Require_Keeping_Copies(const fs::path& directory, const std::string& subject, Use use) {
    std::error_code ignored;
    const std::size_t copies = fs::exists(Metadata_File(directory), ignored) ? 0 : Cached_Copies(directory).size();
    if (copies > 0) {
        throw Usage_Error(subject + " holds " +
                          Util::Counted(copies, "file named like a copy", "files named like copies") +
                          ", but no list of copies, so the first request deletes all such files\n"
                          "  Folders of photos look like that, and so does a cache whose first download was killed.\n"
                          "  Next: name another directory, or repeat with --force when these files may be deleted.");
    }
    const std::string loss = use == Use::Requests ? Loss_By_Spelling(directory, subject) : std::string();
    if (!loss.empty()) {
        throw Usage_Error(loss);
    }
}

void Require_Writable_List(const fs::path& directory) {
    Require_Usable_Metadata_File(directory, std::ios::in | std::ios::out, " cannot be read and written",
                                 "change its permissions, or move it away to start with an empty cache");
}

using Directory_Check = void (*)(const fs::path& directory);

Open_Cache Open(const Settings& settings, const Named_Directory& directory, bool force, Use use,
                Directory_Check check = nullptr) {
    const std::string subject = Require_Usable_Directory(directory.path, directory.option);
    Open_Cache opened{nullptr, directory.path, Take_Directory(directory.path, subject, force)};
    Require_Own_List(Metadata_File(directory.path));
    if (!force) {
        Require_Keeping_Copies(directory.path, subject, use);
    }
    Require_Writable_List(directory.path);
    if (check != nullptr) {
        check(directory.path);
    }
    Start_Tracing(settings);
    opened.cache = FileCache::IFileCache::Instance();
    opened.metadata_loaded = opened.cache->Set_Cache_Directory(Spelling_For_Cache(directory.path));
    return opened;
}

/// The directory of a cache that is to be looked into and not to be changed: it need not be writable.
/// Empty when it is the default one and is not there yet.
fs::path Directory_To_Inspect(const Settings& settings) {
    const Named_Directory directory = Directory_Of(settings);
    if (!directory.is_missing_default) {
        const std::string subject = Require_Directory(directory.path, directory.option);
        std::error_code unreadable;
        if (fs::directory_iterator(directory.path, unreadable); unreadable) {
            throw Usage_Error(subject + " cannot be read: " + unreadable.message() +
                              Advice_On_Rights(Host::Resolved(directory.path), "change its permissions"));
        }
        Require_Usable_Metadata_File(directory.path, std::ios::in, " cannot be read", "change its permissions");
    }
    Start_Tracing(settings);
    return directory.is_missing_default ? fs::path() : directory.path;
}

/// What is wrong with a list that is not damaged, as a warning goes on after its name; empty when nothing is.
std::string Fault_Of_List(const fs::path& directory, std::size_t known) {
    if (directory.empty()) {
        return {};
    }
    std::ifstream list(Metadata_File(directory), std::ios::binary);
    std::size_t lines = 0;
    std::size_t announced = 0;
    std::size_t lines_per_entry = 4;
    bool is_whole = true;
    for (std::string line; std::getline(list, line); is_whole = !list.eof()) {
        ++lines;
        if (lines == 3 && line.starts_with('1')) { // the version
            lines_per_entry = 3;
        } else if (lines == 5) {
            std::from_chars(line.data(), line.data() + line.size(), announced);
        }
    }
    if (announced > known) {
        const bool is_long_enough = lines >= 5 + announced * lines_per_entry;
        return " announces " + Util::Counted(announced, "entry", "entries") + " and holds " + std::to_string(known) +
               (is_long_enough ? ": an address is there twice, or a line is empty.\n"
                                 "  Next: nothing; the next download writes the list again."
                               : ": the others are lost. The disk was full, or the program was killed while it wrote.\n"
                                 "  Next: check the disk. The next request for a lost entry fetches its file again.");
    }
    return is_whole ? std::string()
                    : " ends within a line, so its last address may be cut. The disk was full, or the program was "
                      "killed while it wrote.\n"
                      "  Next: check the disk. The next download writes the list again.";
}

} // namespace

void Warn_Of_Configuration() {
    for (const std::string& fault : FileCache::Cache_Inspection::Configuration_Faults()) {
        Write_Message("warning: the configuration has a fault: " + Util::Printable(fault));
    }
    const char* const trace_directory = std::getenv("QEL_TRACE_DIR");
    std::error_code ignored;
    if (trace_directory != nullptr && *trace_directory != '\0' &&
        !fs::is_directory(Host::To_Path(trace_directory), ignored)) {
        Write_Message("warning: the environment variable QEL_TRACE_DIR names no directory: " + Quoted(trace_directory));
    }
    if (const std::string problem = FileCache::Cache_Inspection::Unusable_Configuration(); !problem.empty()) {
        Write_Message("warning: a part of the configuration cannot be used and is ignored: " +
                      Util::Printable(problem) + "\n  Next: correct that file or its permissions.");
    }
}

std::string Name_Of_Cache(const fs::path& directory) {
    const std::string user = Host::User_Name();
    return "the cache in " + Quoted_Path(directory.empty() ? Default_Directory() : directory) +
           (user.empty() ? user : " of user " + Quoted(user));
}

Open_Cache Open_Or_Create_Cache(const Settings& settings, bool force) {
    const Named_Directory directory = Directory_Of(settings);
    try {
        if (!settings.cache_directory) {
            Host::Create_Private_Directory(directory.path);
        }
    } catch (const fs::filesystem_error& error) {
        throw Usage_Error(std::string(default_directory) + " " + Quoted_Path(directory.path) +
                          " cannot be created: " + error.code().message() + "; give --cache-dir");
    }
    return Open(settings, directory, force, Use::Requests);
}

std::optional<Open_Cache> Open_Existing_Cache(const Settings& settings, bool force, Directory_Check check) {
    const Named_Directory directory = Directory_Of(settings);
    return directory.is_missing_default ? std::nullopt
                                        : std::optional(Open(settings, directory, force, Use::Deletions, check));
}

Open_Inspection Inspect_Cache(const Settings& settings) {
    Open_Inspection opened;
    opened.directory = Directory_To_Inspect(settings);
    opened.cache = std::make_unique<FileCache::Cache_Inspection>(
        opened.directory.empty() ? Host::To_Text(Default_Directory()) : Spelling_For_Cache(opened.directory));
    if (const std::string others = Other_Users_Of(opened.directory); !others.empty()) {
        Write_Message("note: the cache directory is in use by " + others);
    }
    if (const fs::path resolved = Host::Resolved(opened.directory); Host::Belongs_To_Another_User(resolved)) {
        Write_Message("note: the cache belongs to " + Named_Owner_Of(resolved) +
                      ", but the settings are those of user " + Quoted(Host::User_Name()) +
                      ": run the command as its owner");
    }
    const fs::path list = Metadata_File(opened.directory);
    if (!opened.cache->Metadata_Is_Sound()) {
        Write_Message("warning: the metadata file " + Quoted_Path(list) +
                      Fault_Of_Unsound_List(opened.directory, ": only the entries before the damage are known.",
                                            ": none of its entries is known.") +
                      "\n  Next: " +
                      (Host::Is_Link(list) ? "move it away; 'qelfilecache get' uses no list that is a link."
                                           : "the next 'qelfilecache get' saves it and all copies to a separate "
                                             "folder, and starts a new list."));
    } else if (const auto fault = Fault_Of_List(opened.directory, opened.cache->Entries().size()); !fault.empty()) {
        Write_Message("warning: the metadata file " + Quoted_Path(list) + fault);
    }
    Warn_Of_Configuration();
    return opened;
}

std::optional<std::uintmax_t> Size_Of_Copy(const std::string& copy) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(Host::To_Path(copy), error);
    return error ? std::nullopt : std::optional(size);
}

std::optional<std::uintmax_t> Length_As_Sent(const std::string& copy) {
    std::ifstream file(Host::To_Path(copy)); // as a text, as the cache has written it
    using Bytes = std::istreambuf_iterator<char>;
    return file ? std::optional<std::uintmax_t>(std::distance(Bytes(file), Bytes())) : std::nullopt;
}

std::string Fault_Of_Copy(const std::string& copy) {
    return Is_Cached_Copy(Host::To_Text(Host::To_Path(copy).filename())) ? Fault_Of_File(copy) : std::string();
}

std::string Fault_Of_File(const std::string& name) {
    const fs::path path = Host::To_Path(name);
    std::error_code error;
    if (!fs::exists(path, error)) {
        return {};
    }
    if (!fs::is_regular_file(path, error)) {
        return fs::is_directory(path, error) ? "is a directory" : "is not a file";
    }
    errno = 0;
    return std::ifstream(path) ? std::string() : "cannot be read: " + std::generic_category().message(errno);
}

Advice Why_No_Copy_Fits(const fs::path& directory) {
    constexpr const char* permissions =
        "no new copy can be written, and 'qelfilecache get' refuses to work. Next: change the permissions, or name "
        "another directory with --cache-dir";
    if (!directory.empty()) {
        return Host::Is_Writable_Directory(directory)
                   ? Advice()
                   : Advice{"the cache directory " + Quoted_Path(directory) + " is not writable for this user",
                            permissions};
    }
    // The default one is created with the first request, below the part of its path that exists.
    const fs::path wanted = Default_Directory();
    fs::path existing = wanted;
    std::error_code ignored;
    while (!fs::exists(existing, ignored) && existing.has_relative_path()) {
        existing = existing.parent_path();
    }
    return Host::Is_Writable_Directory(existing)
               ? Advice()
               : Advice{std::string(default_directory) + " " + Quoted_Path(wanted) +
                            " cannot be created: " + Quoted_Path(existing) + " is not writable for this user",
                        permissions};
}

std::string Why_Get_Refuses(const fs::path& directory) {
    try {
        if (!directory.empty() && Host::Is_Writable_Directory(directory)) {
            Require_Own_List(Metadata_File(directory));
            Require_Keeping_Copies(directory, "the cache directory " + Quoted_Path(directory), Use::Requests);
            Require_Writable_List(directory);
        }
        return {};
    } catch (const Usage_Error& error) {
        return error.what();
    }
}

bool Would_Lose_Copies(const fs::path& directory) {
    return !directory.empty() && !Loss_By_Spelling(directory, {}).empty();
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

std::string Fault_Of_Unsound_List(const fs::path& directory, const std::string& if_damaged,
                                  const std::string& if_foreign) {
    std::ifstream list(Metadata_File(directory));
    std::string line;
    std::getline(list, line);
    const bool is_list = line == "QEL Logon Landscape Cache Metadata" && std::getline(list, line) && line == "version";
    std::uint32_t format = 0;
    std::getline(list, line);
    const auto parsed = std::from_chars(line.data(), line.data() + line.size(), format);
    const bool is_foreign = is_list && parsed.ec == std::errc() && *parsed.ptr == '\0' && format != 1 && format != 2;
    return is_foreign ? " was written by another version of the program (format " + line + ")" + if_foreign
                      : " is damaged" + if_damaged;
}

fs::path Metadata_File(const fs::path& directory) {
    return directory / "qelfilecache_Metadata.txt";
}

} // namespace QEL::FrontEnd::Tool
