#include "util/File_Head.h"

#include "platform/common/Share_Access.h"
#include "platform/windows/Windows_Headers.h"
#include "platform/windows/handles/Unique_Handle.h"
#include "util/Control_Characters.h"

#include <algorithm>
#include <array>

namespace QEL::FrontEnd::Util::FileSystem {

namespace {

/// With the system's text for the error, or its number when it has none.
[[noreturn]] void Throw_Unreadable(const std::string& path, DWORD error) {
    std::array<char, 512> text{};
    const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                        text.data(), static_cast<DWORD>(text.size()), nullptr);
    std::string message(text.data(), length);
    message.erase(message.find_last_not_of(" \r\n") + 1);
    throw Unreadable_File(path + ": " + (message.empty() ? "error " + std::to_string(error) : message), error);
}

} // namespace

std::string Read_File_Head(const std::string& path, std::size_t count) {
    if (Util::Holds_Line_Break_Or_Nul(path)) {
        Throw_Unreadable(path, ERROR_INVALID_NAME);
    }
    Platform::Object_Handle file;
    const DWORD error = Platform::Ask_Server_Of(path, [&]() -> Platform::Share_Outcome {
        file = Platform::Object_Handle(CreateFileA(path.c_str(), GENERIC_READ,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        return {file.Is_Open() ? ERROR_SUCCESS : GetLastError()};
    });
    if (error != ERROR_SUCCESS) {
        Throw_Unreadable(path, error);
    }

    std::string head;
    std::array<char, 4096> block;
    while (head.size() < count) {
        DWORD length = 0;
        const std::size_t wanted = std::min(block.size(), count - head.size());
        if (ReadFile(file.Get(), block.data(), static_cast<DWORD>(wanted), &length, nullptr) == 0) {
            Throw_Unreadable(path, GetLastError());
        }
        if (length == 0) {
            break;
        }
        head.append(block.data(), length);
    }
    return head;
}

} // namespace QEL::FrontEnd::Util::FileSystem
