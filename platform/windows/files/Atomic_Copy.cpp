#include "platform/common/Atomic_Copy.h"

#include "platform/common/Share_Access.h"
#include "platform/windows/Windows_Headers.h"
#include "platform/windows/files/Scanner_Wait.h"
#include "platform/windows/handles/Last_Error_Keeper.h"
#include "platform/windows/handles/Unique_Handle.h"
#include "util/Control_Characters.h"
#include "util/Non_Copyable.h"
#include "util/Path_Queries.h"

#include <utility>

namespace QEL::FrontEnd::Platform {

namespace {

DWORD CALLBACK Note_Progress(LARGE_INTEGER, LARGE_INTEGER transferred, LARGE_INTEGER, LARGE_INTEGER, DWORD, DWORD,
                             HANDLE, HANDLE, void* has_moved_data) {
    *static_cast<bool*>(has_moved_data) |= transferred.QuadPart > 0;
    return PROGRESS_CONTINUE;
}

Share_Outcome Copy(const std::string& source, const std::string& path) {
    Share_Outcome outcome;
    if (CopyFileExA(source.c_str(), path.c_str(), &Note_Progress, &outcome.has_moved_data, nullptr,
                    COPY_FILE_FAIL_IF_EXISTS) == 0) {
        outcome.error = GetLastError();
    }
    return outcome;
}

/// Puts the content on the disk. Only a handle that may write does so, and a copy may be read-only.
bool Flush(const std::string& path) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    SetFileAttributesA(path.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
    const Object_Handle file(CreateFileA(path.c_str(), GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                         0, nullptr));
    const bool is_flushed = file.Is_Open() && FlushFileBuffers(file.Get()) != 0;
    const Last_Error_Keeper reason_of_failure;
    SetFileAttributesA(path.c_str(), attributes);
    return is_flushed;
}

/// The unfinished copy beside its target.
class Partial_File : private Util::Non_Copyable {
public:
    explicit Partial_File(const std::string& target) : m_Target(target) {}
    ~Partial_File() {
        if (!m_Path.empty()) {
            const Last_Error_Keeper reason_of_failure;
            SetFileAttributesA(m_Path.c_str(), FILE_ATTRIBUTE_NORMAL);
            DeleteFileA(m_Path.c_str());
        }
    }

    bool Fill_From(const std::string& source) {
        for (int attempt = 0; attempt < Partial_Name_Attempts; ++attempt) {
            std::string path = Next_Partial_Name(m_Target);
            const DWORD error = Ask_Server_Of(source, [&] { return Copy(source, path); });
            if (error == ERROR_SUCCESS) {
                m_Path = std::move(path);
                return true;
            }
            if (error != ERROR_FILE_EXISTS) {
                return false;
            }
        }
        return false;
    }

    /// Gives the complete file the target's name.
    bool Publish(bool fail_if_exists) {
        const DWORD flags = fail_if_exists ? 0 : MOVEFILE_REPLACE_EXISTING;
        // A target that is not there denies no access: the new file is held.
        const bool is_new = Util::FileSystem::Occupant_Of(m_Target) == Util::FileSystem::Occupant::Nothing;
        if (Outlast_Scanners(is_new ? m_Path : m_Target, [&] {
                return Flush(m_Path) && MoveFileExA(m_Path.c_str(), m_Target.c_str(), flags) != 0;
            })) {
            m_Path.clear();
            return true;
        }
        if (GetLastError() == ERROR_ALREADY_EXISTS) {
            SetLastError(ERROR_FILE_EXISTS);
        }
        return false;
    }

private:
    const std::string m_Target;
    std::string m_Path; ///< empty while there is no file
};

/// The error that a copy is bound to end with; found out before anything large is copied in vain.
DWORD Obstacle(const std::string& source, const std::string& target, bool fail_if_exists) {
    if (Util::Holds_Line_Break_Or_Nul(source) || Util::Holds_Line_Break_Or_Nul(target)) {
        return ERROR_INVALID_NAME;
    }
    if (target.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    const bool exists = GetFileAttributesA(target.c_str()) != INVALID_FILE_ATTRIBUTES;
    return fail_if_exists && exists ? ERROR_FILE_EXISTS : ERROR_SUCCESS;
}

} // namespace

bool Copy_File_Atomically(const std::string& source, const std::string& target, bool fail_if_exists) {
    if (const DWORD obstacle = Obstacle(source, target, fail_if_exists); obstacle != ERROR_SUCCESS) {
        SetLastError(obstacle);
        return false;
    }
    Partial_File copy(target);
    return copy.Fill_From(source) && copy.Publish(fail_if_exists);
}

} // namespace QEL::FrontEnd::Platform
