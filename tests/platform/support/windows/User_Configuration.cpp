#include "tests/platform/support/User_Configuration.h"

#include "util/uuid/Generate_Uuid.h"

#include <windows.h>

#include <array>

namespace QEL::Tests {

/// A key that stands in for the user's whole registry in this process.
struct User_Configuration::State {
    const std::string stand_in = "Software\\QEL-test-" + FrontEnd::Util::Generate_Uuid();
    HKEY options = nullptr;

    State() {
        HKEY root = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, stand_in.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root, nullptr);
        RegOverridePredefKey(HKEY_CURRENT_USER, root);
        RegCloseKey(root);
        RegCreateKeyExA(HKEY_CURRENT_USER, Options_Key, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &options, nullptr);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        RegCloseKey(options);
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegDeleteTreeA(HKEY_CURRENT_USER, stand_in.c_str());
    }

    void Set(const std::string& name, DWORD type, const void* data, std::size_t size) const {
        RegSetValueExA(options, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(size));
    }
};

User_Configuration::User_Configuration() : m_State(std::make_unique<State>()) {}

User_Configuration::~User_Configuration() = default;

void User_Configuration::Set_Number(const std::string& name, std::uint32_t number) {
    m_State->Set(name, REG_DWORD, &number, sizeof(number));
}

void User_Configuration::Set_Text(const std::string& name, const std::string& text) {
    m_State->Set(name, REG_SZ, text.c_str(), text.size() + 1);
}

void User_Configuration::Set_List(const std::string& name, const std::vector<std::string>& texts) {
    std::string list;
    for (const auto& text : texts) {
        list.append(text.c_str(), text.size() + 1);
    }
    m_State->Set(name, REG_MULTI_SZ, list.c_str(), list.size() + 1);
}

void User_Configuration::Remove(const std::string& name) {
    RegDeleteValueA(m_State->options, name.c_str());
}

Environment_Variable::Environment_Variable(const std::string& name, const char* value) : m_Name(name) {
    std::array<char, 32767> previous;
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetEnvironmentVariableA(m_Name.c_str(), previous.data(), static_cast<DWORD>(previous.size()));
    if (length > 0 || GetLastError() != ERROR_ENVVAR_NOT_FOUND) {
        m_Previous = std::make_unique<std::string>(previous.data(), length);
    }
    SetEnvironmentVariableA(m_Name.c_str(), value);
}

Environment_Variable::~Environment_Variable() {
    SetEnvironmentVariableA(m_Name.c_str(), m_Previous ? m_Previous->c_str() : nullptr);
}

} // namespace QEL::Tests
