#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace QEL::Tests {

/// A new empty directory that is gone, with all it holds, at the end of the scope.
class Temporary_Directory {
public:
    Temporary_Directory() {
        std::random_device random;
        do {
            m_Path = std::filesystem::temp_directory_path() / ("qel_test_" + std::to_string(random()));
        } while (!std::filesystem::create_directory(m_Path));
    }

    ~Temporary_Directory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }

    Temporary_Directory(const Temporary_Directory&) = delete;
    Temporary_Directory& operator=(const Temporary_Directory&) = delete;

    const std::filesystem::path& Path() const { return m_Path; }

    /// Writes a file of that name, byte for byte, and answers with its path.
    std::filesystem::path Write(const std::string& name, std::string_view content) const {
        const auto file = m_Path / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

private:
    std::filesystem::path m_Path;
};

} // namespace QEL::Tests
