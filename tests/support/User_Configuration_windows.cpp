#include "tests/support/User_Configuration.h"

#include "tests/support/Overridden_Root.h"

namespace QEL::Tests {

namespace {

void Check(LONG result) {
    if (result != ERROR_SUCCESS) {
        throw std::system_error(static_cast<int>(result), std::system_category(), "registry");
    }
}

} // namespace

Overridden_Root::Overridden_Root(HKEY root, const std::string& name)
    : m_Root(root), m_Path("Software\\QEL_Test_" + std::to_string(GetCurrentProcessId()) + "_" + name) {
    Check(RegCreateKeyExA(HKEY_CURRENT_USER, m_Path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &m_Substitute,
                          nullptr));
    Check(RegOverridePredefKey(m_Root, m_Substitute));
}

Overridden_Root::~Overridden_Root() {
    RegOverridePredefKey(m_Root, nullptr);
    RegDeleteTreeA(m_Substitute, nullptr);
    RegCloseKey(m_Substitute);
    RegDeleteKeyA(HKEY_CURRENT_USER, m_Path.c_str());
}

void Overridden_Root::Write(const std::string& name, DWORD type, const std::string& bytes) {
    Check(RegSetKeyValueA(m_Root, Options_Key, name.c_str(), type, bytes.data(), static_cast<DWORD>(bytes.size())));
}

void Overridden_Root::Write_Number(const std::string& name, std::uint32_t number) {
    Write(name, REG_DWORD, std::string(reinterpret_cast<const char*>(&number), sizeof(number)));
}

void Overridden_Root::Write_Text(const std::string& name, const std::string& text, DWORD type) {
    Write(name, type, text + '\0');
}

void Overridden_Root::Write_List(const std::string& name, const std::vector<std::string>& texts) {
    std::string bytes;
    for (const auto& text : texts) {
        bytes += text + '\0';
    }
    Write(name, REG_MULTI_SZ, bytes + '\0');
}

void Overridden_Root::Remove(const std::string& name) {
    RegDeleteKeyValueA(m_Root, Options_Key, name.c_str());
}

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
