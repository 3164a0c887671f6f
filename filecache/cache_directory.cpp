#include "filecache/CFileCache.h"

#include "filecache/Directory_Use.h"
#include "filecache/last_results.h"
#include "filecache/locks.h"
#include "filecache/trace_messages.h"

namespace QEL::FrontEnd::FileCache {

bool CFileCache::Set_Cache_Directory(const std::string& absolute_dir_path) {
    const std::lock_guard guard(s_api_mutex);
    TRACE_CALL("absolute_dir_path='%s'", absolute_dir_path.c_str());

    if (absolute_dir_path.empty()) {
        TRACE_ERROR("Trying to set the cache directory to absolute_dir_path='%s'.\n", absolute_dir_path.c_str());
        return Note_Directory(Directory_Result::Not_Set);
    }
    if (!m_OS_Wrapper->Directory_Exists(absolute_dir_path)) {
        TRACE_ERROR("Setting cache directory to non existing absolute_dir_path='%s'.\n", absolute_dir_path.c_str());
        return Note_Directory(Directory_Result::Not_Set);
    }
    if (absolute_dir_path == m_Cache_Directory) {
        TRACE_DATA("Cache directory is already the same as absolute_dir_path='%s'.\n", absolute_dir_path.c_str());
        return Note_Directory(Directory_Result::Set);
    }

    TRACE_DATA("Setting cache directory to '%s'.\n", absolute_dir_path.c_str());
    // The directory stays set even when its metadata is damaged: requests can still be served.
    m_Cache_Directory = absolute_dir_path;
    Directory_Use::Begin(*this, m_Cache_Directory);
    const bool ok = Deserialize();
    TRACE_RETURN("ok = %s", Shown(ok));
    return Note_Directory(ok ? Directory_Result::Set : Directory_Result::Damaged_List);
}

} // namespace QEL::FrontEnd::FileCache
