#include "tests/support/User_Configuration.h"

#include "tests/support/Overridden_Root.h"

namespace QEL::Tests {

struct User_Configuration::State {
    Overridden_Root root{HKEY_CURRENT_USER, "User"};
};

User_Configuration::User_Configuration() : m_State(std::make_unique<State>()) {}

User_Configuration::~User_Configuration() = default;

void User_Configuration::Set_Number(const std::string& name, std::uint32_t number) {
    m_State->root.Write_Number(name, number);
}

void User_Configuration::Set_Text(const std::string& name, const std::string& text) {
    m_State->root.Write_Text(name, text);
}

void User_Configuration::Set_List(const std::string& name, const std::vector<std::string>& texts) {
    m_State->root.Write_List(name, texts);
}

void User_Configuration::Remove(const std::string& name) {
    m_State->root.Remove(name);
}

Environment_Variable::Environment_Variable(const std::string& name, const char* value) : m_Name(name) {
    std::array<char, 32767> previous;
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableA(m_Name.c_str(), previous.data(), static_cast<DWORD>(previous.size()));
    if (length > 0 || GetLastError() != ERROR_ENVVAR_NOT_FOUND) {
        m_Previous = std::string(previous.data(), length);
    }
    SetEnvironmentVariableA(m_Name.c_str(), value);
}

Environment_Variable::~Environment_Variable() {
    SetEnvironmentVariableA(m_Name.c_str(), m_Previous ? m_Previous->c_str() : nullptr);
}

} // namespace QEL::Tests
