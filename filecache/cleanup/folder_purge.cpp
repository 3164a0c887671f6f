#include "filecache/CFileCache.h"

#include "filecache/Directory_Use.h"
#include "filecache/locks.h"
#include "filecache/texts.h"
#include "filecache/trace_messages.h"
#include "util/Directory_Mark.h"
#include "util/Non_Copyable.h"
#include "util/Path_Separator.h"

#include <string_view>
#include <unordered_set>

namespace QEL::FrontEnd::FileCache {

namespace {

/// A running search, ended with its scope.
class Directory_Search : private Util::Non_Copyable {
public:
    Directory_Search(OSWRAPI::IOSWrapper& os_wrapper, const std::string& pattern, OSWRAPI::Find_Data& found)
        : m_OS_Wrapper(os_wrapper),
          m_Handle(pattern.empty() ? OSWRAPI::Invalid_Find_Handle : os_wrapper.FindFirstFile(pattern.c_str(), found)) {}
    ~Directory_Search() {
        if (Has_Match()) {
            m_OS_Wrapper.FindClose(m_Handle);
        }
    }

    OSWRAPI::Find_Handle Handle() const { return m_Handle; }
    bool Has_Match() const { return m_Handle != OSWRAPI::Invalid_Find_Handle; }
    bool Go_On(OSWRAPI::Find_Data& found) { return m_OS_Wrapper.FindNextFile(m_Handle, found) != 0; }

private:
    OSWRAPI::IOSWrapper& m_OS_Wrapper;
    OSWRAPI::Find_Handle m_Handle;
};

} // namespace

void CFileCache::Delete_Cached_Files(bool only_obsolete) {
    TRACE_CALL("only_obsolete=%s", Shown(only_obsolete));

    // Copies that this object's entries do not name may well be named by a list that it could not read, or have
    // been handed out by another process: then the sweep finds nothing.
    // GCOVR_EXCL_BR_START: half-way, only an exception
    const bool finds_nothing = only_obsolete && (Directory_Use::Is_List_Unread(*this) ||
                                                 !Util::FileSystem::Other_Processes_On(m_Cache_Directory).empty());
    OSWRAPI::Find_Data found;
    Directory_Search search(
        *m_OS_Wrapper,
        finds_nothing ? std::string() : Util::FileSystem::Join_Path(m_Cache_Directory, Cached_File_Pattern), found);
    // GCOVR_EXCL_BR_STOP
    TRACE_DATA("FindFirstFile returned %p (INVALID_HANDLE_VALUE=%p)\n", static_cast<const void*>(search.Handle()),
               static_cast<const void*>(OSWRAPI::Invalid_Find_Handle));
    if (!search.Has_Match()) {
        return;
    }

    // Collected once, so that the sweep stays linear in files and entries.
    std::unordered_set<std::string_view> referenced;
    if (only_obsolete) {
        referenced.reserve(m_Cache_Entries.size());
        for (const auto& [url, entry] : m_Cache_Entries) {
            referenced.insert(entry.cached_file);
        }
    }

    do {
        const std::string path = Util::FileSystem::Join_Path(m_Cache_Directory, found.file_name);
        if (referenced.contains(path)) {
            TRACE_DATA("File '%s' will be ignored as it is not obsolete.\n", found.file_name.c_str());
            continue;
        }
        const bool deleted = m_OS_Wrapper->Delete_File(path);
        // The message has a number where its argument is a text: the number is the low half of the text's address.
        TRACE_DATA("Delete_File('%s') returned %d\n", path.c_str(),
                   static_cast<int>(reinterpret_cast<std::intptr_t>(Shown(deleted))));
        if (!deleted) {
            TRACE_WARNING("Delete_File failed for file '%s'.\n", path.c_str());
        }
    } while (search.Go_On(found));
    TRACE_DATA("FindNextFile returned 0\n");
}

bool CFileCache::Purge_Cache_Folder() {
    const std::lock_guard guard(s_api_mutex);
    TRACE_CALL_WITHOUT_ARGUMENTS();
    bool ok = true;
    if (m_Cache_Directory.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Trying to purge a cache directory ''.\n");
        ok = false;
    } else if (!m_OS_Wrapper->Directory_Exists(m_Cache_Directory)) {
        TRACE_DATA("Trying to purge an non-existing cache directory.\n");
    } else {
        Delete_Cached_Files(false);
    }
    return TRACED(ok);
}

void CFileCache::Cleanup_Obsolete_Cached_Files() {
    TRACE_CALL_WITHOUT_ARGUMENTS();
    if (m_Obsolete_Files_Cleaned) {
        TRACE_DATA("Obsolete files already cleaned up. Ignoring redundand cache cleanup request.\n");
        return;
    }
    m_Obsolete_Files_Cleaned = true; // before the sweep: it runs once, whatever its outcome
    TRACE_DATA("Cleaning up obsolete files.\n");
    Delete_Cached_Files(true);
}

} // namespace QEL::FrontEnd::FileCache
