#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

namespace QEL::Tests {

/// The user's configuration for the time of a test: empty at its beginning, put back at its end.
/// The values stand under the key of the cache's options.
class User_Configuration : private FrontEnd::Util::Non_Copyable {
public:
    User_Configuration();
    ~User_Configuration();

    /// Each sets or replaces one value, as an administrator would write it.
    void Set_Number(const std::string& name, std::uint32_t number);
    void Set_Text(const std::string& name, const std::string& text);
    void Set_List(const std::string& name, const std::vector<std::string>& texts);

    void Remove(const std::string& name);

private:
    struct State;
    std::unique_ptr<State> m_State;
};

/// A variable of the environment for the time of a test.
class Environment_Variable : private FrontEnd::Util::Non_Copyable {
public:
    /// @param value null: not set at all.
    Environment_Variable(const std::string& name, const char* value);
    ~Environment_Variable();

private:
    std::string m_Name;
    std::optional<std::string> m_Previous; ///< none when it was not set
};

inline constexpr const char* Options_Key = "Software\\QEL\\QELLogon\\Options";

} // namespace QEL::Tests
