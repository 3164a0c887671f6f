#include "util/Generate_Uuid.h"

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/system/Wide_Text.h"

#include <objbase.h>
#include <rpc.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace QEL::FrontEnd::Util {

std::string Generate_Uuid() {
    // A machine without a network card gets UUIDs that are unique on this machine: enough for file names.
    GUID uuid;
    const RPC_STATUS status = UuidCreate(&uuid);
    if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
        throw std::runtime_error("The system provides no UUID.");
    }

    // Braces around 36 characters, and the terminating zero.
    std::array<wchar_t, 39> braced{};
    StringFromGUID2(uuid, braced.data(), static_cast<int>(braced.size()));
    std::string text = Platform::To_Narrow(std::wstring_view(braced.data() + 1, 36));
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'A' && character <= 'F' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return text;
}

} // namespace QEL::FrontEnd::Util
