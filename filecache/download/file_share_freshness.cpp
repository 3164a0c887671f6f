#include "filecache/CFileCache.h"

#include "filecache/download/outcome_codes.h"
#include "filecache/trace_messages.h"

namespace QEL::FrontEnd::FileCache {

bool CFileCache::Is_File_Share_Expired(const std::string& url, bool& check_error) {
    TRACE_CALL("url='%s'", url.c_str());
    m_errFileShareDownLoad = Share_Ok;
    check_error = false;

    const auto found = m_Cache_Entries.find(url);
    if (found == m_Cache_Entries.end()) {
        TRACE_BUG();
        TRACE_ERROR("Checking for expired an URL that is not in the cache: '%s'.\n", url.c_str());
        return TRACED(true);
    }

    std::int64_t modification_time = 0;
    if (const int stat_error = m_OS_Wrapper->Stat_File(url, modification_time); stat_error != 0) {
        TRACE_WARNING(
            "File share URL cannot be stat-ed: '%s', error code %d. try to download the shared file directly.\n",
            url.c_str(), stat_error);
        m_errFileShareDownLoad = Share_Source_Not_Examined;
        return TRACED(true);
    }
    const std::string current = std::to_string(modification_time);
    // GCOVR_EXCL_START: a number as text is never empty; the step stands here should it be made otherwise
    if (current.empty()) {
        TRACE_BUG();
        TRACE_ERROR("File share '%s' modification time cannot be converted. Numeric value: %d. Treating as expired.\n",
                    url.c_str(), static_cast<int>(modification_time));
        return TRACED(true);
    }
    // GCOVR_EXCL_STOP
    CacheEntry& entry = found->second;
    if (entry.last_modified.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Cached file share '%s' modification time is empty. Treating as expired.\n",
                    entry.cached_file.c_str());
        return TRACED(true);
    }

    const bool unchanged = entry.last_modified == current;
    if (unchanged) {
        entry.last_checked_remotely = m_OS_Wrapper->Get_Current_Time();
        Serialize();
    }
    return TRACED(!unchanged);
}

} // namespace QEL::FrontEnd::FileCache
