#include "platform/posix/configuration/Ini_Configuration.h"

#include "util/Ascii.h"
#include "util/Configuration_Source.h"

#include <charconv>
#include <cstdlib>

namespace QEL::FrontEnd::Platform {

namespace {

/// As Util::Environment_Variable, without a copy: each read of the configuration asks.
std::string_view Environment(const char* name) {
    const char* value = ::secure_getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

} // namespace

Configuration& Configuration::System() {
    static auto& s_configuration = *new Ini_Configuration("/etc/qel/qel.ini"); // threads may request to the end
    return s_configuration;
}

Ini_Configuration::Ini_Configuration(std::string machine_file) : m_Machine_File(std::move(machine_file)) {}

std::optional<std::string> Ini_Configuration::Read_Text(Configuration_Scope scope, const char* section,
                                                        const char* key) {
    const std::lock_guard lock(m_Mutex);
    const auto [file, text] = Find_Value(scope, section, key);
    return file == nullptr ? std::nullopt : std::optional<std::string>(text);
}

std::vector<std::string> Ini_Configuration::Read_List(Configuration_Scope scope, const char* section, const char* key) {
    const std::lock_guard lock(m_Mutex);
    const Ini_File* file = Find_Value(scope, section, key).file;
    return file == nullptr ? std::vector<std::string>() : file->Values(section, key);
}

std::optional<std::uint32_t> Ini_Configuration::Read_Integer(Configuration_Scope scope, const char* section,
                                                             const char* key) {
    const std::lock_guard lock(m_Mutex);
    const auto [file, text] = Find_Value(scope, section, key);
    const auto number = file == nullptr ? std::nullopt : Parse_Integer(text);
    return number ? Low_32_Bits(*number) : std::nullopt;
}

std::optional<std::string> Ini_Configuration::Find_Place(Configuration_Scope scope, const char* section,
                                                         const char* key) {
    const std::lock_guard lock(m_Mutex);
    const Ini_File* file = Find_Value(scope, section, key).file;
    return file == nullptr ? std::nullopt : std::optional<std::string>(file->Path());
}

std::vector<Configuration_Item> Ini_Configuration::Items() {
    const std::lock_guard lock(m_Mutex);
    Refresh_User_File();
    m_Machine_File.Refresh();
    std::vector<Configuration_Item> items;
    for (const Ini_File* const file : {m_User_File ? &*m_User_File : nullptr, &m_Machine_File}) {
        for (const auto& line : file != nullptr ? file->Lines() : std::vector<Ini_File::Line>()) {
            items.push_back({file->Path() + ", line " + std::to_string(line.number), file->Path(), line.section,
                             line.key, line.value, Parse_Integer(line.value)});
        }
    }
    return items;
}

std::string Ini_Configuration::Problem() {
    const std::lock_guard lock(m_Mutex);
    Refresh_User_File();
    m_Machine_File.Refresh();
    std::string problem = m_User_File ? m_User_File->Problem() : std::string();
    const std::string of_machine = m_Machine_File.Problem();
    return problem + (problem.empty() || of_machine.empty() ? "" : "\n") + of_machine;
}

Ini_Configuration::Found_Value Ini_Configuration::Find_Value(Configuration_Scope scope, const char* section,
                                                             const char* key) {
    if (scope != Configuration_Scope::Machine) {
        Refresh_User_File();
        if (const char* const text = m_User_File ? m_User_File->Value(section, key) : nullptr) {
            return {&*m_User_File, text};
        }
    }
    if (scope != Configuration_Scope::User) {
        m_Machine_File.Refresh();
        if (const char* const text = m_Machine_File.Value(section, key)) {
            return {&m_Machine_File, text};
        }
    }
    return {};
}

void Ini_Configuration::Refresh_User_File() {
    const std::string_view config_home = Environment("XDG_CONFIG_HOME");
    const std::string_view home = Environment("HOME");
    if (config_home != m_Config_Home || home != m_Home) {
        m_Config_Home = config_home;
        m_Home = home;
        m_User_File.reset();
        // A relative directory in either would depend on where the program was started.
        if (m_Config_Home.starts_with('/')) {
            m_User_File.emplace(m_Config_Home + "/qel/qel.ini");
        } else if (m_Home.starts_with('/')) {
            m_User_File.emplace(m_Home + "/.config/qel/qel.ini");
        }
    }
    if (m_User_File) {
        m_User_File->Refresh();
    }
}

std::optional<std::int64_t> Parse_Integer(std::string_view text) {
    text = Util::Trim(text, " \t\r\n\v\f");
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative ? 1 : 0);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    // std::from_chars would take a second minus.
    if (text.starts_with('-')) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return negative ? -number : number;
}

} // namespace QEL::FrontEnd::Platform

std::optional<std::int32_t> QEL::FrontEnd::Util::Largest_File_Megabytes() {
    const auto number = Platform::Configuration::System().Read_Integer(Platform::Configuration_Scope::User_Then_Machine,
                                                                       Options_Key, Largest_File_Value);
    return static_cast<std::int32_t>(number.value_or(0));
}
