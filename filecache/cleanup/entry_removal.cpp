#include "filecache/CFileCache.h"

#include "filecache/locks.h"
#include "filecache/trace_messages.h"

namespace QEL::FrontEnd::FileCache {

bool CFileCache::Remove_From_Cache(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const auto found = m_Cache_Entries.find(url);
    if (found == m_Cache_Entries.end()) {
        TRACE_DATA("Cache entry for URL '%s' not found. Removal is not needed.\n", url.c_str());
        return TRACED(true);
    }

    const CacheEntry entry = found->second;
    TRACE_DATA("Cache entry for URL '%s': %s\n", url.c_str(), entry.To_String().c_str());
    if (entry.cached_file.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Empty cached file names not expected, url = '%s'.\n", url.c_str());
        m_Cache_Entries.erase(found);
        return TRACED(false);
    }

    if (!Is_Local(entry.cached_file)) {
        TRACE_WARNING("Performance notification: Using remote drive for caching remote files. Performance may suffer. "
                      "url='%s', cached_file='%s'.\n",
                      url.c_str(), entry.cached_file.c_str());
    }

    if (m_OS_Wrapper->File_Exists(entry.cached_file)) {
        if (!m_OS_Wrapper->Delete_File(entry.cached_file)) {
            // The entry stays, so that a later removal can try again.
            TRACE_WARNING("File could not be deleted, url = '%s', cached_file = '%s'.\n", url.c_str(),
                          entry.cached_file.c_str());
            return TRACED(false);
        }
    } else {
        TRACE_DATA("File already deleted, url = '%s', cached_file = '%s'.\n", url.c_str(), entry.cached_file.c_str());
    }
    m_Cache_Entries.erase(found);
    return TRACED(true);
}

/// A friend, as no function that a DLL exports can be declared one.
struct Removal_On_Request {
    static bool Of(CFileCache& cache, const std::string& url_or_path) {
        const std::lock_guard guard(s_api_mutex);
        return cache.Remove_From_Cache(cache.Normalize_if_File_URL(url_or_path));
    }
};

bool Remove_From_Cache(IFileCache& cache, const std::string& url_or_path) {
    auto* const file_cache = dynamic_cast<CFileCache*>(&cache); // GCOVR_EXCL_BR_LINE: a reference is never null
    return file_cache != nullptr && Removal_On_Request::Of(*file_cache, url_or_path);
}

bool CFileCache::Clear() {
    const std::lock_guard guard(s_api_mutex);
    TRACE_CALL_WITHOUT_ARGUMENTS();
    bool ok = true;
    for (auto next = m_Cache_Entries.begin(); next != m_Cache_Entries.end();) {
        const auto current = next++; // the removal erases the current one
        const std::string url = current->first;
        const CacheEntry entry = current->second;
        TRACE_DATA("Next file cache entry: %s / %s\n", url.c_str(), entry.To_String().c_str());
        if (!Remove_From_Cache(url)) {
            TRACE_ERROR("Entry could not be removed from file cache: %s / %s\n", url.c_str(),
                        entry.To_String().c_str());
            ok = false;
        }
    }
    return TRACED(ok);
}

} // namespace QEL::FrontEnd::FileCache
