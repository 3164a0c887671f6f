#include "tests/support/User_Configuration.h"

#include "tests/support/Scratch_Directory.h"

namespace QEL::Tests {

struct User_Configuration::State {
    Scratch_Directory home;
    Environment_Variable config_home{"XDG_CONFIG_HOME", home.Path().c_str()};
    std::map<std::string, std::vector<std::string>> values;

    void Write() const {
        std::string text = std::string("[") + Options_Key + "]\n";
        for (const auto& [name, list] : values) {
            for (const auto& value : list) {
                text += name + " = " + value + "\n";
            }
        }
        home.Write("qel/qel.ini", text);
    }
};

User_Configuration::User_Configuration() : m_State(std::make_unique<State>()) {
    m_State->home.Make_Directory("qel");
}

User_Configuration::~User_Configuration() = default;

void User_Configuration::Set_Number(const std::string& name, std::uint32_t number) {
    Set_Text(name, std::to_string(number));
}

void User_Configuration::Set_Text(const std::string& name, const std::string& text) {
    Set_List(name, {text});
}

void User_Configuration::Set_List(const std::string& name, const std::vector<std::string>& texts) {
    m_State->values[name] = texts;
    m_State->Write();
}

void User_Configuration::Remove(const std::string& name) {
    m_State->values.erase(name);
    m_State->Write();
}

namespace {

void Set(const std::string& name, const char* value) {
    value == nullptr ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value, 1);
}

} // namespace

Environment_Variable::Environment_Variable(const std::string& name, const char* value) : m_Name(name) {
    if (const char* previous = std::getenv(m_Name.c_str())) {
        m_Previous = previous;
    }
    Set(m_Name, value);
}

Environment_Variable::~Environment_Variable() {
    Set(m_Name, m_Previous ? m_Previous->c_str() : nullptr);
}

} // namespace QEL::Tests
