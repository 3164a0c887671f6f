#include "platform/posix/share/Agent_Program.h"

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace QEL::FrontEnd::Platform {

namespace {

/// Full path of the library or program that holds this function; empty when it is unknown.
/// The loader would only give the name by which it was loaded, which may be relative to a directory
/// that has changed since.
std::string Path_Of_This_Module() {
    const auto own_address = reinterpret_cast<std::uintptr_t>(&Path_Of_This_Module);
    std::ifstream mappings("/proc/self/maps");
    for (std::string line; std::getline(mappings, line);) {
        const char* const end = line.data() + line.size();
        std::uintptr_t first = 0;
        std::uintptr_t last = 0;
        const auto dash = std::from_chars(line.data(), end, first, 16).ptr;
        if (dash == end || std::from_chars(dash + 1, end, last, 16).ec != std::errc()) {
            continue;
        }
        if (own_address >= first && own_address < last) {
            const auto path = line.find('/');
            return path == std::string::npos ? std::string() : line.substr(path);
        }
    }
    return {};
}

std::string Folder_Of(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

std::string Name_Of_Group(gid_t id) {
    char texts[4096];
    group entry{};
    group* found = nullptr;
    ::getgrgid_r(id, &entry, texts, sizeof texts, &found);
    return found == nullptr ? std::to_string(id) : entry.gr_name;
}

std::string Name_Of_This_User() {
    char texts[4096];
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, texts, sizeof texts, &found);
    return found == nullptr ? std::string() : entry.pw_name;
}

/// In a user namespace without root, as sandboxes make it, root's files belong to the user of unknown ones.
bool Is_Root(uid_t user) {
    constexpr uid_t unknown = 65534;
    if (user != unknown) {
        return user == 0;
    }
    std::ifstream map("/proc/self/uid_map");
    bool is_namespace = false;
    for (std::uint32_t here = 0, outside = 0, count = 0; map >> here >> outside >> count;) {
        if (here == 0) {
            return false;
        }
        is_namespace = true;
    }
    return is_namespace;
}

/// How somebody else could have put a file or folder in this place, or could change it; empty when nobody
/// could. Each file in a sticky folder is its owner's.
std::string Objection(const std::string& path, const struct stat& status) {
    if (status.st_uid != ::geteuid() && !Is_Root(status.st_uid)) {
        return "belongs to another user";
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        return S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0 ? "" : "is writable for everybody";
    }
    if ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0) {
        const std::string group = Name_Of_Group(status.st_gid);
        const bool is_for_administrators = group == "staff" && (path + '/').starts_with("/usr/local/");
        if (!is_for_administrators && group != Name_Of_This_User()) {
            return "is writable for the group " + group;
        }
    }
    return {};
}

std::string Objection_To_Program(int program) {
    std::error_code error;
    const std::string path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(program), error).string();
    struct stat status {};
    if (error || ::fstat(program, &status) != 0 || !S_ISREG(status.st_mode)) {
        return "it is not a regular file";
    }
    if (const auto objection = Objection(path, status); !objection.empty()) {
        return "it " + objection;
    }
    for (std::string folder = path; !folder.empty();) {
        folder = Folder_Of(folder);
        const std::string name = folder.empty() ? "/" : folder;
        if (::lstat(name.c_str(), &status) != 0) {
            return name + ": " + std::strerror(errno);
        }
        if (const auto objection = Objection(name, status); !objection.empty()) {
            return "the folder " + name + " " + objection;
        }
    }
    return {};
}

} // namespace

std::string Find_Agent_Program() {
    const std::string module = Path_Of_This_Module();
    const std::string folder = Folder_Of(module);
    const bool is_library = module.find("/libqelfilecache", folder.size()) == folder.size();
    return folder + (is_library ? "/" QEL_AGENT_FROM_LIBRARY : "/../libexec/qel") + "/qel_share_agent";
}

File_Descriptor Open_Agent_Program(const std::string& path, std::string& refusal) {
    File_Descriptor program(::open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!program) {
        refusal = "the program " + path + (errno == ENOENT ? " is not installed: " : " cannot be opened: ") +
                  std::strerror(errno);
        return {};
    }
    if (const auto objection = Objection_To_Program(program.Get()); !objection.empty()) {
        refusal = "the program " + path + " is not run: " + objection;
        return {};
    }
    return program;
}

} // namespace QEL::FrontEnd::Platform
