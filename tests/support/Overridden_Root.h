#pragma once

#include "tests/support/Standard_Library.h"
#include "util/Non_Copyable.h"

#include <windows.h>

namespace QEL::Tests {

/// Puts an empty key in the place of a root of the registry, for this process and the time of a test.
class Overridden_Root : private FrontEnd::Util::Non_Copyable {
public:
    /// @param root HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE.
    /// @param name of the key that takes its place; unique in this process.
    Overridden_Root(HKEY root, const std::string& name);
    ~Overridden_Root();

    /// Writes a value under the key of the cache's options.
    void Write(const std::string& name, DWORD type, const std::string& bytes);
    void Write_Number(const std::string& name, std::uint32_t number);
    void Write_Text(const std::string& name, const std::string& text, DWORD type = REG_SZ);
    void Write_List(const std::string& name, const std::vector<std::string>& texts);

    void Remove(const std::string& name);

private:
    const HKEY m_Root;
    const std::string m_Path; ///< under the user's root
    HKEY m_Substitute = nullptr;
};

} // namespace QEL::Tests
