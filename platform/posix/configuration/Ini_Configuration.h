#pragma once

#include "platform/common/Configuration.h"
#include "platform/posix/configuration/Ini_File.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// The configuration of the user and of the machine, each an INI file:
/// $XDG_CONFIG_HOME/qel/qel.ini (by default ~/.config/qel/qel.ini) and /etc/qel/qel.ini.
///
/// Every read asks for the status of the files it needs and reads again those that changed. A file
/// that cannot be read or holds no text counts as missing. Of a repeated key the first value counts, but
/// for lists.
class Ini_Configuration : public Configuration {
public:
    explicit Ini_Configuration(std::string machine_file);

    /// The text without blanks around it.
    std::optional<std::string> Read_Text(Configuration_Scope scope, const char* section, const char* key) override;

    std::vector<std::string> Read_List(Configuration_Scope scope, const char* section, const char* key) override;

    /// See Parse_Integer for how the number may be written.
    std::optional<std::uint32_t> Read_Integer(Configuration_Scope scope, const char* section, const char* key) override;

    /// The file's path.
    std::optional<std::string> Find_Place(Configuration_Scope scope, const char* section, const char* key) override;

    std::vector<Configuration_Item> Items() override;

    std::string Problem() override;

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

/// The number that a text is: decimal or, behind 0x, hexadecimal, either with an optional minus. None when it is
/// anything else or beyond 64 bits.
std::optional<std::int64_t> Parse_Integer(std::string_view text);

} // namespace QEL::FrontEnd::Platform
