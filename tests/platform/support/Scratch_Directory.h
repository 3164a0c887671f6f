#pragma once

#include "util/Generate_Uuid.h"
#include "util/Path_Separator.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace QEL::Tests {

/// An empty directory for the time of a test, with what the tests do in it. Paths are joined as the
/// cache joins them.
class Scratch_Directory {
public:
    explicit Scratch_Directory(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : m_Path((parent / ("qel-test-" + FrontEnd::Util::Generate_Uuid())).string()) {
        std::filesystem::create_directory(m_Path);
    }
    Scratch_Directory(const Scratch_Directory&) = delete;
    Scratch_Directory& operator=(const Scratch_Directory&) = delete;
    ~Scratch_Directory() {
        std::error_code ignored;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_Path, ignored)) {
            if (!entry.is_symlink(ignored)) {
                std::filesystem::permissions(entry, std::filesystem::perms::owner_all,
                                             std::filesystem::perm_options::add, ignored);
            }
        }
        std::filesystem::remove_all(m_Path, ignored);
    }

    const std::string& Path() const { return m_Path; }

    std::string operator/(const std::string& name) const { return FrontEnd::Util::FileSystem::Join_Path(m_Path, name); }

    /// Writes a file and returns its path.
    std::string Write(const std::string& name, const std::string& content = "content") const {
        const std::string path = *this / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    std::string Make_Directory(const std::string& name) const {
        const std::string path = *this / name;
        std::filesystem::create_directory(path);
        return path;
    }

    /// The names of all that the directory holds, in order.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Path)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string m_Path;
};

inline std::string Content_Of(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void Make_Read_Only(const std::string& path) {
    using std::filesystem::perms;
    std::filesystem::permissions(path, perms::owner_write | perms::group_write | perms::others_write,
                                 std::filesystem::perm_options::remove);
}

/// Bytes of every value, different in every block.
inline std::string Rubbish(std::size_t size) {
    std::string bytes(size, '\0');
    unsigned state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

} // namespace QEL::Tests
