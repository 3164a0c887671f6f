#include "platform/windows/system/System_Message.h"

#include "platform/windows/Windows_Headers.h"

#include <array>

namespace QEL::FrontEnd::Platform {

std::string System_Message(std::uint32_t error) {
    std::array<char, 512> text{};
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text.data(), static_cast<DWORD>(text.size()), nullptr);
    std::string message(text.data(), length);
    message.erase(message.find_last_not_of(" \r\n") + 1);
    return message.empty() ? "error " + std::to_string(error) : message;
}

} // namespace QEL::FrontEnd::Platform
