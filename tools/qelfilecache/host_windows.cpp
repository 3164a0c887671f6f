#include "tools/qelfilecache/host.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <iterator>

#include <windows.h>

#include <aclapi.h>
#include <fcntl.h>
#include <io.h>
#include <objbase.h>

namespace QEL::FrontEnd::Tool::Host {

namespace {

volatile std::sig_atomic_t s_has_waited_enough = 0;

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

/// What stands at a path, open for questions about it; none: INVALID_HANDLE_VALUE.
class Opened {
public:
    Opened(const std::filesystem::path& path, DWORD access, DWORD flags)
        : m_Handle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr)) {}
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() {
        if (Is_There()) {
            CloseHandle(m_Handle);
        }
    }
    bool Is_There() const { return m_Handle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return m_Handle; }

private:
    HANDLE m_Handle;
};

bool Is_This_User(PSID owner) {
    HANDLE token = nullptr;
    alignas(TOKEN_USER) std::array<std::byte, 256> user;
    DWORD size = 0;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
        return false;
    }
    const bool is_known = GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()), &size);
    CloseHandle(token);
    return is_known && EqualSid(owner, reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
}

/// Whom what stands at a path belongs to; nobody where the system does not say.
class Owner {
public:
    explicit Owner(const std::filesystem::path& path) {
        const Opened opened(path, READ_CONTROL, FILE_FLAG_OPEN_REPARSE_POINT);
        if (opened.Is_There()) {
            GetSecurityInfo(opened.Get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &m_Owner, nullptr, nullptr,
                            nullptr, &m_About);
        }
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() { LocalFree(m_About); }
    PSID Get() const { return m_Owner; }
    bool Runs_The_Machine() const {
        // File systems without owners name everybody.
        constexpr WELL_KNOWN_SID_TYPE nobody_else[] = {WinBuiltinAdministratorsSid, WinLocalSystemSid, WinWorldSid};
        return std::any_of(std::begin(nobody_else), std::end(nobody_else),
                           [this](WELL_KNOWN_SID_TYPE type) { return IsWellKnownSid(m_Owner, type); });
    }

private:
    PSID m_Owner = nullptr;
    PSECURITY_DESCRIPTOR m_About = nullptr;
};

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

std::string User_Name() {
    char name[257] = ""; // UNLEN, and the zero
    DWORD size = sizeof name;
    return GetUserNameA(name, &size) != 0 ? name : "";
}

void Create_Private_Directory(const std::filesystem::path& directory) {
    // What lies below %LOCALAPPDATA% inherits its access list: the user's alone.
    std::filesystem::create_directories(directory);
}

bool Is_Writable_Directory(const std::filesystem::path& directory) {
    return Opened(directory, FILE_ADD_FILE, 0).Is_There();
}

bool Is_Link(const std::filesystem::path& path) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    FindClose(search);
    // Not every reparse point is a link: files that lie in a cloud are others.
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(found.dwReserved0);
}

bool Belongs_To_Another_User(const std::filesystem::path& path) {
    const Owner owner(path);
    return owner.Get() != nullptr && !Is_This_User(owner.Get()) && !owner.Runs_The_Machine();
}

std::string Owner_Of(const std::filesystem::path& path) {
    const Owner owner(path);
    char name[257] = ""; // UNLEN, and the zero
    char domain[257];
    DWORD size = sizeof name;
    DWORD domain_size = sizeof domain;
    SID_NAME_USE use{};
    const bool is_user = owner.Get() != nullptr && !owner.Runs_The_Machine() &&
                         LookupAccountSidA(nullptr, owner.Get(), name, &size, domain, &domain_size, &use);
    return is_user ? name : "";
}

std::filesystem::path Resolved(const std::filesystem::path& path) {
    const Opened opened(path, 0, 0);
    std::wstring resolved(32768, L'\0');
    const DWORD length = opened.Is_There() ? GetFinalPathNameByHandleW(opened.Get(), resolved.data(),
                                                                       static_cast<DWORD>(resolved.size()), 0)
                                           : 0;
    resolved.resize(length < resolved.size() ? length : 0);
    return resolved;
}

bool Write(std::FILE* stream, const std::string& text) {
    DWORD mode = 0;
    if (!GetConsoleMode(Handle_Of(stream), &mode)) {
        return std::fwrite(text.data(), 1, text.size(), stream) == text.size();
    }
    const std::wstring wide = Wide(CP_UTF8, Lines_To_Utf8(text));
    constexpr std::size_t most = 8192; // consoles take no more than 64 KB at once
    DWORD written = 0;
    for (std::size_t begin = 0; begin < wide.size(); begin += written) {
        const auto size = static_cast<DWORD>(std::min(wide.size() - begin, most));
        if (!WriteConsoleW(Handle_Of(stream), wide.data() + begin, size, &written, nullptr) || written == 0) {
            errno = EIO;
            return false;
        }
    }
    return true;
}

std::FILE* Open_Shared(const std::filesystem::path& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        errno = GetLastError() == ERROR_ACCESS_DENIED ? EACCES : ENOENT;
        return nullptr;
    }
    return _fdopen(_open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_RDONLY | _O_BINARY), "rb");
}

bool Is_Still_At(std::FILE* file, const std::filesystem::path& path) {
    const Opened opened(path, 0, 0);
    BY_HANDLE_FILE_INFORMATION open;
    BY_HANDLE_FILE_INFORMATION there;
    return opened.Is_There() && GetFileInformationByHandle(Handle_Of(file), &open) &&
           GetFileInformationByHandle(opened.Get(), &there) &&
           open.dwVolumeSerialNumber == there.dwVolumeSerialNumber && open.nFileIndexHigh == there.nFileIndexHigh &&
           open.nFileIndexLow == there.nFileIndexLow;
}

void Catch_End_Of_Waiting() {
    for (const int signal : {SIGINT, SIGBREAK, SIGTERM}) {
        std::signal(signal, [](int) { s_has_waited_enough = 1; });
    }
}

bool Wait_A_Moment() {
    Sleep(250);
    return s_has_waited_enough == 0;
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

std::string Ascii_Name(const std::string&) {
    return {};
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
