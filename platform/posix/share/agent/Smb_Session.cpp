#include "platform/posix/share/agent/Smb_Session.h"

#include "platform/posix/system/Copy_Limits.h"
#include "platform/posix/system/File_Descriptor.h"
#include "platform/posix/system/Local_File.h"
#include "platform/posix/system/Win32_Error.h"
#include "platform/posix/system/Write_All.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Platform {

namespace {

using Agent_Protocol::Request;
using Agent_Protocol::Response;

// The library reads a chunk with several requests under way at once. It starts small and grows while
// the server keeps up, so that a slow line still shows progress within the time limit.
constexpr std::size_t Smallest_Chunk = std::size_t{64} << 10;
constexpr std::size_t Largest_Chunk = std::size_t{4} << 20;
constexpr std::chrono::milliseconds Brisk_Chunk{100};
constexpr std::chrono::milliseconds Slow_Chunk{2000};

// The level at which the library reports how a logon went.
constexpr int Log_Level_Of_Logons = 4;

void Describe(const struct stat& status, Response& response) {
    response.attributes = Attributes_Of(S_ISDIR(status.st_mode), (status.st_mode & S_IWUSR) == 0);
    response.modification_time = File_Time(status.st_mtim);
    response.length = static_cast<std::uint64_t>(status.st_size);
}

std::size_t Next_Chunk(std::size_t chunk, std::chrono::steady_clock::duration taken) {
    if (taken < Brisk_Chunk) {
        return std::min(chunk * 2, Largest_Chunk);
    }
    if (taken > Slow_Chunk) {
        return std::max(chunk / 2, Smallest_Chunk);
    }
    return chunk;
}

/// True for what a server says about a file, in contrast to what happens to the connection.
bool Is_About_The_File(int error) {
    constexpr int errors[] = {ENOENT, ENOTDIR, EACCES, EPERM, EISDIR, EBUSY, ETXTBSY, EINVAL, ENAMETOOLONG, ENOTSUP};
    return std::ranges::find(errors, error) != std::end(errors);
}

/// Adds to what the library has read of its configuration files.
bool Require_Signing(SMBCCTX* context) {
    constexpr std::string_view text = "[global]\nclient signing = required\n";
    const File_Descriptor file(::memfd_create("smb.conf", MFD_CLOEXEC));
    return Write_All(file.Get(), text.data(), text.size()) &&
           smbc_setConfiguration(context, ("/proc/self/fd/" + std::to_string(file.Get())).c_str()) == 0;
}

} // namespace

Smb_Session* Smb_Session::s_session = nullptr;

Smb_Session::Smb_Session(const Agent_Protocol::Settings& settings) : m_Settings(settings) {
    SMBCCTX* const context = smbc_new_context();
    if (context == nullptr) {
        return;
    }

    // Nobody who comes without a name can sign.
    const bool is_signing_required = m_Settings.is_signing_required || m_Settings.user[0] != '\0';
    smbc_setDebug(context, Log_Level_Of_Logons);
    smbc_setLogCallback(context, nullptr, Watch_Logon);
    smbc_setPort(context, static_cast<std::uint16_t>(m_Settings.port));
    smbc_setOptionUseKerberos(context, 1);
    smbc_setOptionFallbackAfterKerberos(context, 1);
    smbc_setOptionNoAutoAnonymousLogin(context, is_signing_required);
    smbc_setFunctionAuthDataWithContext(context, Give_Credentials);
    if (smbc_init_context(context) == nullptr || (is_signing_required && !Require_Signing(context))) {
        return;
    }

    s_session = this;
    m_Find_Connection = smbc_getFunctionGetCachedServer(context);
    m_Keep_Connection = smbc_getFunctionAddCachedServer(context);
    smbc_setFunctionGetCachedServer(context, Find_Connection);
    smbc_setFunctionAddCachedServer(context, Keep_Connection);
    m_Context = context;
}

void Smb_Session::Set_Timeout(std::uint32_t milliseconds) {
    smbc_setTimeout(m_Context, static_cast<int>(milliseconds));
}

void Smb_Session::Stat(const char* url, Response& response) {
    Begin_Operation();
    struct stat status {};
    if (smbc_getFunctionStat(m_Context)(m_Context, url, &status) != 0) {
        return Describe_Failure(url, errno, response);
    }
    Describe(status, response);
    response.is_agent_good = true;
}

void Smb_Session::Read(const Request& request, int target, const std::function<void()>& on_progress,
                       Response& response) {
    Begin_Operation();
    SMBCFILE* const file = smbc_getFunctionOpen(m_Context)(m_Context, request.url, O_RDONLY, 0);
    if (file == nullptr) {
        return Describe_Failure(request.url, errno, response);
    }

    struct stat status {};
    if (smbc_getFunctionFstat(m_Context)(m_Context, file, &status) != 0) {
        return Describe_Failure(request.url, errno, response);
    }
    Describe(status, response);
    const auto size = std::min(request.byte_limit, static_cast<std::uint64_t>(status.st_size));
    if (const auto refusal = Refusal_Of_Length(size, request.largest, target); refusal != Error_Success) {
        response.error = refusal;
        response.is_agent_good = true;
    } else {
        Copy_Content(request, file, target, on_progress, response);
    }

    // A file that cannot be closed is one whose connection is gone: the process ends then, and asking
    // a silent server to close it would only take the time-out once more.
    if (response.is_agent_good && smbc_getFunctionClose(m_Context)(m_Context, file) != 0) {
        response.is_agent_good = false;
    }
}

void Smb_Session::Copy_Content(const Request& request, SMBCFILE* file, int target,
                               const std::function<void()>& on_progress, Response& response) {
    const auto read = smbc_getFunctionRead(m_Context);
    std::vector<char> bytes;
    std::size_t chunk = Smallest_Chunk;
    std::uint64_t copied = 0;
    Granted_Room room;
    while (copied < request.byte_limit) {
        bytes.resize(std::max(bytes.size(), chunk));
        const auto started = std::chrono::steady_clock::now();
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(chunk, request.byte_limit - copied));
        const ssize_t count = read(m_Context, file, bytes.data(), wanted);
        if (count < 0) {
            return Describe_Failure(request.url, errno, response);
        }
        if (count == 0) {
            break;
        }
        // The file may grow meanwhile.
        copied += static_cast<std::uint64_t>(count);
        if (copied > request.largest) {
            response.error = Error_File_Too_Large;
        } else if (!room.Take(target, static_cast<std::uint64_t>(count))) {
            response.error = Error_Disk_Full;
        } else if (!Write_All(target, bytes.data(), static_cast<std::size_t>(count))) {
            response.error = Win32_Error_From_Errno(errno);
        }
        if (response.error != Error_Success) {
            break;
        }
        chunk = Next_Chunk(chunk, std::chrono::steady_clock::now() - started);
        on_progress();
    }
    response.is_agent_good = true;
}

void Smb_Session::Begin_Operation() {
    m_Connected = false;
    m_Logon_Refused = false;
}

void Smb_Session::Describe_Failure(const char* url, int error, Response& response) {
    response.error = m_Connected && Is_About_The_File(error) ? File_Error(url, error) : Connection_Error(error);
    response.is_agent_good = response.error != Error_Network_Name_Deleted && response.error != Error_Semaphore_Timeout;
}

std::uint32_t Smb_Session::File_Error(const char* url, int error) {
    switch (error) {
    case ENOENT:
        return Parent_Exists(url) ? Error_File_Not_Found : Error_Path_Not_Found;
    case EINVAL:
        return Error_Invalid_Name;
    default:
        return Win32_Error_From_Errno(error);
    }
}

std::uint32_t Smb_Session::Connection_Error(int error) const {
    if (error == ETIMEDOUT) {
        return Error_Semaphore_Timeout;
    }
    if (m_Connected) {
        return Error_Network_Name_Deleted;
    }
    if (m_Logon_Refused) {
        return Error_Logon_Failure;
    }
    switch (error) {
    case ENOENT:
    case ENODEV:
        return Error_Bad_Network_Name;
    case EACCES:
    case EPERM:
        return Error_Access_Denied;
    case ENOMEM:
        return Error_Not_Enough_Memory;
    default:
        return Error_Network_Path_Not_Found;
    }
}

bool Smb_Session::Parent_Exists(const char* url) {
    const std::string_view whole(url);
    const auto share_end = whole.find('/', whole.find('/', std::string_view("smb://").size()) + 1);
    const auto name = whole.rfind('/');
    if (name <= share_end) {
        return true;
    }
    struct stat status {};
    const std::string parent(whole.substr(0, name));
    return smbc_getFunctionStat(m_Context)(m_Context, parent.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void Smb_Session::Give_Credentials(SMBCCTX*, const char*, const char*, char* workgroup, int workgroup_size, char* user,
                                   int user_size, char* password, int password_size) {
    const auto& settings = s_session->m_Settings;
    const auto give = [](char* target, int size, const char* text) {
        std::snprintf(target, static_cast<std::size_t>(size), "%s", text);
    };
    if (settings.workgroup[0] != '\0') {
        give(workgroup, workgroup_size, settings.workgroup);
    }
    give(user, user_size, settings.user[0] != '\0' ? settings.user : "guest");
    give(password, password_size, settings.password);
}

SMBCSRV* Smb_Session::Find_Connection(SMBCCTX* context, const char* server, const char* share, const char* workgroup,
                                      const char* user) {
    SMBCSRV* const connection = s_session->m_Find_Connection(context, server, share, workgroup, user);
    s_session->m_Connected = connection != nullptr;
    return connection;
}

int Smb_Session::Keep_Connection(SMBCCTX* context, SMBCSRV* connection, const char* server, const char* share,
                                 const char* workgroup, const char* user) {
    s_session->m_Connected = true;
    return s_session->m_Keep_Connection(context, connection, server, share, workgroup, user);
}

// The library answers EACCES to a refused logon as well as to a share that this user may not enter.
// Only in its log the two differ.
void Smb_Session::Watch_Logon(void*, int, const char* message) {
    const std::string_view text(message);
    if (text.find("login failed") != std::string_view::npos) {
        s_session->m_Logon_Refused = true;
    } else if (text.find("session setup ok") != std::string_view::npos) {
        s_session->m_Logon_Refused = false;
    }
}

} // namespace QEL::FrontEnd::Platform
