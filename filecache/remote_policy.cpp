#include "filecache/CFileCache.h"

#include "filecache/download/outcome_codes.h"
#include "filecache/texts.h"
#include "filecache/trace_messages.h"
#include "util/Configuration_Values.h"

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr int User_Then_Machine = 2; // root selector of the configuration

/// Made once: they are asked for with every look-up.
// Never destroyed, as nothing that threads may use while the process ends.
const std::string& s_options_key = *new std::string(Util::Options_Key);
const std::string& s_expiry_period_value = *new std::string(Util::Expiry_Period_Value);

} // namespace

std::uint64_t CFileCache::Get_LandscapeCacheExpiryPeriod() {
    const std::uint64_t minutes =
        m_OS_Wrapper->Read_Registry_Int(User_Then_Machine, s_options_key, s_expiry_period_value);
    return minutes * Intervals_Per_Minute;
}

bool CFileCache::Cached_File_Still_Fresh(const std::string& url) {
    const auto found = m_Cache_Entries.find(url);
    if (found == m_Cache_Entries.end()) {
        return false;
    }
    const CacheEntry& entry = found->second;
    if (entry.cached_file.empty() || !m_OS_Wrapper->File_Exists(entry.cached_file)) {
        return false;
    }
    const std::uint64_t now = m_OS_Wrapper->Get_Current_Time();
    const std::uint64_t period = Get_LandscapeCacheExpiryPeriod();
    return now <= entry.last_checked_remotely + period;
}

std::string CFileCache::Get_Cached_Remote_File(const std::string& url, Expired_Function expired_f,
                                               Downloader_Function downloader_f, bool& download_error) {
    TRACE_CALL("url='%s', expired_f/downloader_f not traced.", url.c_str());
    download_error = false;

    if (!m_Cache_Entries.contains(url)) {
        TRACE_DATA("Remote file '%s' not found in cache. Will be downloaded.\n", url.c_str());
        std::string path = (this->*downloader_f)(url, download_error); // GCOVR_EXCL_BR_LINE: never a virtual one
        TRACE_RETURN("%s", path.c_str());
        return path;
    }

    if ((this->*expired_f)(url, download_error)) { // GCOVR_EXCL_BR_LINE: never a virtual one
        const std::int32_t check_error_code =
            m_errHTTPFileDownLoad > 0 ? m_errHTTPFileDownLoad : m_errFileShareDownLoad;
        if (check_error_code > 0) {
            TRACE_DATA("Error(code=%d) in determine URL/file Expired, Try to download the remote file '%s' directly.\n",
                       check_error_code, url.c_str());
        } else {
            TRACE_DATA("Remote file '%s' is expired. Will be downloaded.\n", url.c_str());
        }

        std::string path = (this->*downloader_f)(url, download_error); // GCOVR_EXCL_BR_LINE: never a virtual one
        if (!download_error) {
            TRACE_RETURN("%s", path.c_str());
            return path;
        }
        if (m_errHTTPFileDownLoad == Http_Copy_Unnamed || m_errFileShareDownLoad == Share_Copy_Unnamed) {
            TRACE_BUG();
            TRACE_ERROR("Empty Cached file Name for URL '%s'.\n", url.c_str());
            return {};
        }
        // The remote side cannot be had now: the last copy is better than none.
        download_error = true;
    }

    const auto found = m_Cache_Entries.find(url);
    if (found == m_Cache_Entries.end()) {
        TRACE_BUG();
        TRACE_ERROR("Cached file unexpectedly not found at this point: '%s'.\n", url.c_str());
        return {};
    }
    const std::string cached_file = found->second.cached_file;
    if (cached_file.empty()) {
        TRACE_BUG();
        TRACE_ERROR("Cached file is unnamed for URL '%s'.\n", url.c_str());
        return {};
    }
    if (m_OS_Wrapper->File_Exists(cached_file)) {
        TRACE_DATA("Cached file '%s' for URL '%s' will be used.\n", cached_file.c_str(), url.c_str());
        TRACE_RETURN("rtn = %s", cached_file.c_str());
        return cached_file;
    }
    TRACE_DATA("Cached file for '%s' does not exist. Will be downloaded.\n", url.c_str());
    std::string path = (this->*downloader_f)(url, download_error); // GCOVR_EXCL_BR_LINE: never a virtual one
    TRACE_RETURN("%s", path.c_str());
    return path;
}

} // namespace QEL::FrontEnd::FileCache
