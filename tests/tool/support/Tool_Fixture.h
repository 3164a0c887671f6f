#pragma once

#include "tests/support/Scratch_Directory.h"
#include "tests/tool/support/Tool_Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace QEL::Tests {

inline void Write_File(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// The names in a directory.
inline std::set<std::string> Names_In(const std::filesystem::path& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

/// A folder of its own with a cache, a home and a configuration; nothing of the user's is touched.
class Tool_Test : public ::testing::Test {
protected:
    Tool_Test() {
        for (const auto& directory : {m_Cache, m_Folder / "home", m_Folder / "config" / "qel"}) {
            std::filesystem::create_directories(directory);
        }
        Set_Expiry_Period(60);
    }

    void Set_Expiry_Period(int minutes) const {
        Write_File(m_Folder / "config" / "qel" / "qel.ini",
                   "[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod=" + std::to_string(minutes) + "\n");
    }

    /// A run in the test's own folder and surroundings, to be changed before it is run.
    Tool_Run A_Run(std::vector<std::string> arguments) const {
        Tool_Run run;
        run.arguments = std::move(arguments);
        run.environment = {{"HOME", (m_Folder / "home").string()}, {"XDG_CONFIG_HOME", (m_Folder / "config").string()}};
        run.without_environment = {"XDG_CACHE_HOME", "QEL_TRACE_DIR", "http_proxy", "all_proxy", "COLUMNS", "NO_COLOR"};
        run.working_directory = m_Folder.string();
        return run;
    }

    Tool_Result Run(std::vector<std::string> arguments) const { return Run_Tool(A_Run(std::move(arguments))); }

    /// Runs `--cache-dir CACHE ARGUMENTS`.
    Tool_Result Run_On_Cache(const std::vector<std::string>& arguments) const {
        std::vector<std::string> all = {"--cache-dir", m_Cache.string()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return Run(all);
    }

    /// Name, time of change and bytes of every file in the cache: what no look into it may change.
    std::map<std::string, std::pair<std::filesystem::file_time_type, std::string>> Everything_In_Cache() const {
        std::map<std::string, std::pair<std::filesystem::file_time_type, std::string>> files;
        for (const auto& file : std::filesystem::directory_iterator(m_Cache)) {
            files[file.path().filename().string()] = {file.last_write_time(), Content_Of(file.path())};
        }
        return files;
    }

    std::filesystem::path Metadata_File() const { return m_Cache / "qelfilecache_Metadata.txt"; }

    const Scratch_Directory m_Scratch;
    const std::filesystem::path m_Folder = m_Scratch.Path();
    const std::filesystem::path m_Cache = m_Folder / "cache";
};

} // namespace QEL::Tests
