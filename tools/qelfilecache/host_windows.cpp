#include "tools/qelfilecache/host.h"

#include <algorithm>
#include <cstdlib>

#include <windows.h>

#include <io.h>
#include <objbase.h>

namespace QEL::FrontEnd::Tool::Host {

namespace {

std::wstring Wide(UINT code_page, const std::string& text) {
    if (text.empty()) {
        return {};
    }
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(code_page, 0, text.data(), size, nullptr, 0)),
                      L'\0');
    MultiByteToWideChar(code_page, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string Narrow(UINT code_page, const std::wstring& wide) {
    if (wide.empty()) {
        return {};
    }
    const int size = static_cast<int>(wide.size());
    const int needed = WideCharToMultiByte(code_page, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(code_page, 0, wide.data(), size, text.data(), needed, nullptr, nullptr);
    return text;
}

HANDLE Handle_Of(std::FILE* stream) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
}

} // namespace

void Prepare_Standard_Streams() {
    // The runtime gives a missing stream no descriptor that a file could take.
}

std::shared_ptr<void> Prepare_Request_Thread() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        return nullptr; // the requests then report that they have no request object
    }
    return {nullptr, [](void*) { CoUninitialize(); }};
}

std::filesystem::path Default_Cache_Directory() {
    const wchar_t* value = _wgetenv(L"LOCALAPPDATA");
    const std::filesystem::path local = value ? value : L"";
    return local.is_absolute() ? local / "QEL" / "LandscapeCache" : std::filesystem::path();
}

const char* No_Default_Cache_Directory() {
    return "LOCALAPPDATA holds no absolute path; set it or give --cache-dir";
}

void Create_Private_Directory(const std::filesystem::path& directory) {
    // What lies below %LOCALAPPDATA% inherits its access list: the user's alone.
    std::filesystem::create_directories(directory);
}

bool Is_Writable_Directory(const std::filesystem::path& directory) {
    const HANDLE handle =
        CreateFileW(directory.c_str(), FILE_ADD_FILE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(handle);
    return true;
}

std::optional<std::size_t> Terminal_Width(std::FILE* stream) {
    CONSOLE_SCREEN_BUFFER_INFO console{};
    if (!GetConsoleScreenBufferInfo(Handle_Of(stream), &console)) {
        return std::nullopt;
    }
    // Not all of it: behind a full line, the console begins another one by itself.
    return static_cast<std::size_t>(std::max(console.srWindow.Right - console.srWindow.Left, 1));
}

bool Prepare_Colours(std::FILE* stream) {
    const HANDLE console = Handle_Of(stream);
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) && SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

void Set_Environment_Variable(const char* name, const std::string& value) {
    // Both: the library may use another copy of the runtime, which asks the system.
    _putenv_s(name, value.c_str());
    SetEnvironmentVariableA(name, value.c_str());
}

std::filesystem::path To_Path(const std::string& text) {
    return Wide(CP_ACP, text);
}

std::string To_Text(const std::filesystem::path& path) {
    return Narrow(CP_ACP, path.native());
}

std::string To_Utf8(const std::string& text) {
    return Narrow(CP_UTF8, Wide(CP_ACP, text));
}

std::string Lines_To_Utf8(const std::string& lines) {
    std::string converted;
    for (std::size_t begin = 0; begin < lines.size();) {
        const std::size_t size = std::min(lines.find('\n', begin), lines.size() - 1) + 1 - begin;
        const std::string line = lines.substr(begin, size);
        const bool is_utf8 =
            MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, line.data(), static_cast<int>(size), nullptr, 0) > 0;
        converted += is_utf8 ? line : To_Utf8(line);
        begin += size;
    }
    return converted;
}

} // namespace QEL::FrontEnd::Tool::Host
