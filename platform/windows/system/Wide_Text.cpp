#include "platform/windows/system/Wide_Text.h"

#include "platform/windows/Windows_Headers.h"

namespace QEL::FrontEnd::Platform {

std::wstring To_Wide(std::string_view text) {
    const int length = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string To_Narrow(std::wstring_view text) {
    const int length = static_cast<int>(text.size());
    std::string narrow(
        static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr)),
        '\0');
    WideCharToMultiByte(CP_ACP, 0, text.data(), length, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                        nullptr);
    return narrow;
}

} // namespace QEL::FrontEnd::Platform
