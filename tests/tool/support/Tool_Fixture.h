#pragma once

#include "tests/tool/support/Tool_Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace QEL::Tests {

inline std::string Read_File(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

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
        std::string folder = (std::filesystem::temp_directory_path() / "qel-tool-XXXXXX").string();
        if (!::mkdtemp(folder.data())) {
            throw std::runtime_error("no temporary folder: " + folder);
        }
        m_Folder = folder;
        m_Cache = m_Folder / "cache";
        for (const auto& directory : {m_Cache, m_Folder / "home", m_Folder / "config" / "qel"}) {
            std::filesystem::create_directories(directory);
        }
        Set_Expiry_Period(60);
    }

    ~Tool_Test() override {
        std::error_code ignored;
        std::filesystem::remove_all(m_Folder, ignored);
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
        run.without_environment = {"XDG_CACHE_HOME", "QEL_TRACE_DIR", "http_proxy", "all_proxy"};
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

    std::filesystem::path Metadata_File() const { return m_Cache / "qelfilecache_Metadata.txt"; }

    std::filesystem::path m_Folder;
    std::filesystem::path m_Cache;
};

} // namespace QEL::Tests
