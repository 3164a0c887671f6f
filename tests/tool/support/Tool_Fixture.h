#pragma once

#include "tests/support/Scratch_Directory.h"
#include "tests/support/Web_Server.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace QEL::Tests {

/// How a run of the tool ended, and what it wrote.
struct Tool_Result {
    int exit_status = -1; ///< -1: it did not end by itself
    std::string out;
    std::string err;
};

/// One run of the tool as a process of its own.
struct Tool_Run {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment; ///< on top of this process's own, without the user's settings
    std::string working_directory;
    std::string standard_input;                     ///< what it reads there
    std::string redirections;                       ///< of its streams, as the shell writes them
    std::optional<unsigned short> terminal_columns; ///< all streams are a terminal of it, kept in Tool_Result::out
    bool with_ordinary_rights = false;              ///< permissions count, also when the tests run as root
};

Tool_Result Run_Tool(const Tool_Run& run);

inline constexpr const char* Monday = "Mon, 01 Jan 2024 12:00:00 GMT";
inline constexpr const char* Tuesday = "Tue, 02 Jan 2024 12:00:00 GMT";
/// The name of a copy that no entry names.
inline constexpr const char* Stray_Copy = "01234567-89ab-cdef-0123-456789abcdef.xml";

inline void Write_File(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

/// Takes a user's rights from a file or directory, so that no more than these are left, for the time of a scope.
class Rights_Left : private FrontEnd::Util::Non_Copyable {
public:
    Rights_Left(std::filesystem::path path, std::filesystem::perms left) : m_Path(std::move(path)) {
        std::filesystem::permissions(m_Path, left);
    }
    ~Rights_Left() { std::filesystem::permissions(m_Path, std::filesystem::perms::owner_all); }

private:
    const std::filesystem::path m_Path;
};

inline constexpr auto Read_And_Enter = std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec;

/// A folder of its own with a cache, a home and a configuration, and a web server with the file /a.xml. Nothing of the
/// user's is touched.
class Tool_Test : public ::testing::Test {
protected:
    using Words = std::vector<std::string>;

    Tool_Test() {
        for (const auto& directory : {m_Cache, m_Home, m_Configuration.parent_path()}) {
            std::filesystem::create_directories(directory);
        }
        Set_Expiry_Period(60);
        m_Server.Publish("/a.xml", "<a/>", Monday);
    }

    void Configure(const std::string& lines) const {
        Write_File(m_Configuration, "[Software\\QEL\\QELLogon\\Options]\n" + lines);
    }
    void Set_Expiry_Period(int minutes) const {
        Configure("LandscapeCacheExpiryPeriod=" + std::to_string(minutes) + "\n");
    }

    /// A run in the test's own folder and surroundings, to be changed before it is run.
    Tool_Run A_Run(const Words& arguments, std::map<std::string, std::string> environment = {}) const {
        environment.insert({{"HOME", m_Home.string()}, {"XDG_CONFIG_HOME", (m_Folder / "config").string()}});
        return {arguments, environment, m_Folder.string(), {}, {}, {}, false};
    }

    /// A run of `--cache-dir CACHE ARGUMENTS`.
    Tool_Run A_Run_On_Cache(Words arguments, const std::map<std::string, std::string>& environment = {}) const {
        arguments.insert(arguments.begin(), {"--cache-dir", m_Cache.string()});
        return A_Run(arguments, environment);
    }

    Tool_Result Run(const Words& arguments) const { return Run_Tool(A_Run(arguments)); }
    Tool_Result Run_On_Cache(const Words& arguments, const std::map<std::string, std::string>& environment = {}) const {
        return Run_Tool(A_Run_On_Cache(arguments, environment));
    }
    Tool_Result Run_On_Terminal(unsigned short columns, const Words& arguments,
                                const std::map<std::string, std::string>& environment = {}) const {
        Tool_Run run = A_Run_On_Cache(arguments, environment);
        run.terminal_columns = columns;
        return Run_Tool(run);
    }
    Tool_Result Run_With_Ordinary_Rights(Tool_Run run) const {
        run.with_ordinary_rights = true;
        return Run_Tool(run);
    }

    /// The copy of a request, which has to be served.
    std::string Get_Copy(const std::string& request) const {
        const Tool_Result result = Run_On_Cache({"get", request});
        EXPECT_EQ(result.exit_status, 0) << result.err;
        EXPECT_THAT(result.out, ::testing::EndsWith("\n"));
        return result.out.substr(0, result.out.find('\n'));
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

    /// A run that ends with this status and message, and prints nothing.
    static void Expect_Message(const Tool_Result& result, int exit_status, const std::string& message) {
        EXPECT_EQ(result.exit_status, exit_status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, message.empty() ? "" : "qelfilecache: " + message + "\n");
    }

    const Scratch_Directory m_Scratch;
    const std::filesystem::path m_Folder = m_Scratch.Path();
    const std::filesystem::path m_Cache = m_Folder / "cache";
    const std::filesystem::path m_Home = m_Folder / "home";
    const std::filesystem::path m_Default_Cache = m_Home / ".cache" / "qel" / "landscape";
    const std::filesystem::path m_Configuration = m_Folder / "config" / "qel" / "qel.ini";
    Web_Server m_Server;
    const std::string m_Url = m_Server.Url("/a.xml");
};

} // namespace QEL::Tests
