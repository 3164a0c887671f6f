#pragma once

#include "platform/posix/configuration/Ini_File.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Platform {

/// The section that holds the configuration of the cache.
inline constexpr const char* Options_Section = "Software\\QEL\\QELLogon\\Options";

/// Whose values are read.
enum class Configuration_Scope { User, Machine, User_Then_Machine };

/// The configuration of the user and of the machine, each an INI file:
/// $XDG_CONFIG_HOME/qel/qel.ini (by default ~/.config/qel/qel.ini) and /etc/qel/qel.ini.
///
/// Every read answers with the files' values of that moment: it asks for the status of the files it
/// needs and reads again those that changed. A file that cannot be read or holds no text counts as
/// missing, which Problem tells. Where the user has the value, the machine's does not count,
/// whatever the user's holds. Of a repeated key the first value counts, but for lists.
///
/// Thread-safe, as long as no thread changes the environment meanwhile.
class Configuration {
public:
    /// The one that the whole process reads.
    static Configuration& System();

    explicit Configuration(std::string machine_file);

    /// A value without blanks around it; none when it is missing.
    std::optional<std::string> Read_Text(Configuration_Scope scope, const char* section, const char* key);

    /// Every value of a repeated key, the user's or the machine's. Empty when there is none.
    std::vector<std::string> Read_List(Configuration_Scope scope, const char* section, const char* key);

    /// A value that is a decimal or, behind 0x, a hexadecimal number, either with an optional minus.
    /// None when it is missing, anything else or beyond 64 bits.
    std::optional<std::int64_t> Read_Integer(Configuration_Scope scope, const char* section, const char* key);

    /// Path of the file that holds the value which counts; none when neither file has it.
    std::optional<std::string> Find_File(Configuration_Scope scope, const char* section, const char* key);

    /// Why files had to be passed over, as one line a file for messages; empty when all is well.
    std::string Problem();

private:
    /// The file that holds a value, and its first text there.
    struct Found_Value {
        const Ini_File* file = nullptr;
        const char* text = nullptr;
    };

    /// Brings the files of the scope up to date and finds the first one that holds the value; nulls
    /// when none does.
    Found_Value Find_Value(Configuration_Scope scope, const char* section, const char* key);

    void Refresh_User_File();

    std::mutex m_Mutex; ///< guards all members
    std::string m_Config_Home;
    std::string m_Home;
    std::optional<Ini_File> m_User_File; ///< none where the environment names no home
    Ini_File m_Machine_File;
};

/// The number that a text is; see Configuration::Read_Integer.
std::optional<std::int64_t> Parse_Integer(std::string_view text);

} // namespace QEL::FrontEnd::Platform
