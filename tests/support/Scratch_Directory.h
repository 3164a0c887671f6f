#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// The names of all that a directory holds, in order.
inline std::vector<std::string> Names_In(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// How many files this process holds open, where the system says.
inline std::ptrdiff_t Open_Files() {
    std::error_code ignored;
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd", ignored), {});
}

/// Waits until something is so, for about half a minute at most. @return whether it is.
template <typename Condition>
bool Wait_Until(Condition is_so) {
    for (int attempt = 0; attempt < 30000; ++attempt) {
        if (is_so()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return is_so();
}

/// Does something in so many threads at once, with the number of each, and waits for them.
inline void In_Threads(int count, const std::function<void(int)>& action) {
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back(action, number);
    }
}

/// A new empty directory that is gone, with all it holds, at the end of the scope.
class Scratch_Directory : private FrontEnd::Util::Non_Copyable {
public:
    explicit Scratch_Directory(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::random_device random;
        do {
            m_Path = parent / ("qel_test_" + std::to_string(random()) + std::to_string(random()));
        } while (!std::filesystem::create_directory(m_Path));
    }

    /// Also removes what a test has taken its own rights from.
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

    const std::filesystem::path& Path() const { return m_Path; }

    std::string operator/(const std::string& name) const { return (m_Path / name).string(); }

    /// Writes a file of that name, byte for byte, and returns its path.
    std::string Write(const std::string& name, std::string_view content = "content") const {
        const auto file = m_Path / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }

    std::string Make_Directory(const std::string& name) const {
        std::filesystem::create_directory(m_Path / name);
        return *this / name;
    }

    /// The names of all that the directory holds, in order.
    std::vector<std::string> Names() const { return Names_In(m_Path); }

private:
    std::filesystem::path m_Path;
};

/// All bytes of a file; empty when there is none.
inline std::string Content_Of(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void Make_Read_Only(const std::filesystem::path& path) {
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
