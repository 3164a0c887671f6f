#include "util/Directory_Mark.h"

#include "platform/windows/handles/Unique_Handle.h"
#include "platform/windows/system/Wide_Text.h"
#include "util/Non_Copyable.h"

#include <sddl.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace QEL::FrontEnd::Util::FileSystem {

namespace {

using Platform::Object_Handle;
using Platform::System_Memory;

/// The final path of a directory: the same for every way of writing it. Empty when it cannot be asked.
std::wstring Final_Path(const std::string& directory) {
    const Object_Handle opened(CreateFileA(directory.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                           nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!opened.Is_Open()) {
        return {};
    }
    std::wstring path(32768, L'\0');
    const DWORD length = GetFinalPathNameByHandleW(opened.Get(), path.data(), static_cast<DWORD>(path.size()), 0);
    path.resize(length < path.size() ? length : 0);
    const auto size = static_cast<int>(path.size());
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, path.data(), size, path.data(), size);
    return path;
}

/// The name of the directory's table of processes: objects' names are short and hold no backslash.
std::string Table_Name(const std::wstring& path) {
    std::uint64_t hash = 14695981039346656037u; // FNV-1a
    for (const wchar_t letter : path) {
        hash = (hash ^ static_cast<std::uint16_t>(letter)) * 1099511628211u;
    }
    return "Local\\qelfilecache-in-use-" + std::to_string(hash);
}

/// The one to whom the table belongs: not the group that an administrator's objects belong to, so that his
/// programs with and without elevation see each other.
std::string This_User() {
    Object_Handle token;
    std::array<std::byte, 256> buffer;
    DWORD size = 0;
    System_Memory text;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Receive()) == 0 ||
        GetTokenInformation(token.Get(), TokenUser, buffer.data(), static_cast<DWORD>(buffer.size()), &size) == 0 ||
        ConvertSidToStringSidA(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid,
                               reinterpret_cast<char**>(text.Receive())) == 0) {
        return {};
    }
    return static_cast<const char*>(text.Get());
}

/// A process that marks, so that none is taken for another one that got its number later: the number, and the
/// low half of the time at which it began.
std::optional<LONGLONG> Identity(HANDLE process, DWORD id) {
    FILETIME began, ended, kernel, user;
    if (GetProcessTimes(process, &began, &ended, &kernel, &user) == 0) {
        return std::nullopt;
    }
    return static_cast<LONGLONG>(std::uint64_t{id} << 32 | began.dwLowDateTime);
}

DWORD Process_Of(LONGLONG identity) {
    return static_cast<DWORD>(static_cast<std::uint64_t>(identity) >> 32);
}

/// The process that an entry of the table names, while it runs.
Object_Handle Running_Process(LONGLONG identity) {
    const DWORD id = Process_Of(identity);
    Object_Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, id));
    const bool runs = process.Is_Open() && WaitForSingleObject(process.Get(), 0) == WAIT_TIMEOUT;
    return runs && Identity(process.Get(), id) == identity ? std::move(process) : Object_Handle();
}

/// The processes that have marked one directory, in memory that they share. It is gone with the last of them.
class Process_Table {
public:
    explicit Process_Table(const std::string& directory) {
        const std::wstring path = Final_Path(directory);
        const std::string user = This_User();
        System_Memory rights;
        const std::string for_the_user_alone = "D:P(A;;GA;;;" + user + ")";
        if (path.empty() || user.empty() ||
            ConvertStringSecurityDescriptorToSecurityDescriptorA(for_the_user_alone.c_str(), SDDL_REVISION_1,
                                                                 rights.Receive(), nullptr) == 0) {
            return;
        }
        SECURITY_ATTRIBUTES security{sizeof(security), rights.Get(), FALSE};
        m_Mapping = Object_Handle(CreateFileMappingA(INVALID_HANDLE_VALUE, &security, PAGE_READWRITE, 0,
                                                     Places * sizeof(LONGLONG), Table_Name(path).c_str()));
        if (m_Mapping.Is_Open()) {
            m_View = Platform::Mapped_View(
                MapViewOfFile(m_Mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, Places * sizeof(LONGLONG)));
        }
    }

    bool Is_Open() const { return m_View.Is_Open(); }
    volatile LONGLONG* begin() const { return static_cast<volatile LONGLONG*>(m_View.Get()); }
    volatile LONGLONG* end() const { return begin() + Places; }

private:
    static constexpr std::size_t Places = 256;

    Object_Handle m_Mapping;
    Platform::Mapped_View m_View;
};

std::string Program_Of(HANDLE process) {
    std::wstring path(32768, L'\0');
    DWORD length = static_cast<DWORD>(path.size());
    if (QueryFullProcessImageNameW(process, 0, path.data(), &length) == 0) {
        return {};
    }
    path.resize(length);
    return Platform::To_Narrow(path.substr(path.find_last_of(L'\\') + 1));
}

} // namespace

/// A place in the directory's table. One process may have several.
class Directory_Mark::Mark : private Util::Non_Copyable {
public:
    explicit Mark(const std::string& directory) : m_Table(directory) {
        const auto own = Identity(GetCurrentProcess(), GetCurrentProcessId());
        if (!m_Table.Is_Open() || !own) {
            return;
        }
        for (volatile LONGLONG& place : m_Table) {
            const LONGLONG there = place;
            const bool is_free = there == 0 || !Running_Process(there).Is_Open();
            if (is_free && InterlockedCompareExchange64(&place, *own, there) == there) {
                m_Place = &place;
                return;
            }
        }
    }
    ~Mark() {
        if (m_Place != nullptr) {
            InterlockedExchange64(m_Place, 0);
        }
    }

private:
    const Process_Table m_Table;
    volatile LONGLONG* m_Place = nullptr;
};

Directory_Mark::Directory_Mark(const std::string& directory) : m_Mark(std::make_unique<Mark>(directory)) {}
Directory_Mark::~Directory_Mark() = default;

std::vector<Marking_Process> Other_Processes_On(const std::string& directory) {
    std::vector<Marking_Process> others;
    const Process_Table table(directory);
    if (!table.Is_Open()) {
        return others;
    }
    for (const volatile LONGLONG& place : table) {
        const LONGLONG there = place;
        const int id = static_cast<int>(Process_Of(there));
        const bool is_known =
            std::any_of(others.begin(), others.end(), [&](const Marking_Process& other) { return other.id == id; });
        if (there == 0 || Process_Of(there) == GetCurrentProcessId() || is_known) {
            continue;
        }
        if (const Object_Handle process = Running_Process(there); process.Is_Open()) {
            others.push_back({id, Program_Of(process.Get())});
        }
    }
    return others;
}

} // namespace QEL::FrontEnd::Util::FileSystem
