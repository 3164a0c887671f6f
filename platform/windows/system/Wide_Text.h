#pragma once

#include <string>
#include <string_view>

namespace QEL::FrontEnd::Platform {

/// From the system code page, which all narrow texts of the library are in.
std::wstring To_Wide(std::string_view text);

/// To the system code page; a character that it lacks becomes its default character.
std::string To_Narrow(std::wstring_view text);

} // namespace QEL::FrontEnd::Platform
