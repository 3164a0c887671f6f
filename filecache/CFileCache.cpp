#include "filecache/CFileCache.h"

#include "filecache/Directory_Use.h"
#include "filecache/locks.h"
#include "filecache/trace_messages.h"

#include <utility>

namespace QEL::FrontEnd::FileCache {

CFileCache::CFileCache(std::shared_ptr<OSWRAPI::IOSWrapper> os_wrapper)
    : m_OS_Wrapper(std::move(os_wrapper)), m_Obsolete_Files_Cleaned(false), m_Connect_Timeout(0),
      m_errHTTPFileDownLoad(0), m_errFileShareDownLoad(0), m_Cert_Error_Handling_Mode(Util::HttpWinInet::Default),
      m_Cert_Error_Detected(false) {
    TRACE_CALL_WITHOUT_ARGUMENTS();
    Initialize_Mime();
}

CFileCache::CFileCache(const CFileCache& other) : IFileCache(other) {
    *this = other; // GCOVR_EXCL_BR_LINE: exceptions
}

CFileCache& CFileCache::operator=(const CFileCache& other) {
    m_Cache_Entries = other.m_Cache_Entries;
    m_Cache_Directory = other.m_Cache_Directory;
    m_Magic = other.m_Magic;
    m_OS_Wrapper = other.m_OS_Wrapper;
    m_Obsolete_Files_Cleaned = other.m_Obsolete_Files_Cleaned;
    m_Connect_Timeout = other.m_Connect_Timeout;
    m_errHTTPFileDownLoad = other.m_errHTTPFileDownLoad;
    m_errFileShareDownLoad = other.m_errFileShareDownLoad;
    m_Cert_Error_Handling_Mode = other.m_Cert_Error_Handling_Mode;
    m_Cert_Error_Parameters = other.m_Cert_Error_Parameters;
    m_Cert_Error_Detected = other.m_Cert_Error_Detected;
    m_Additional_Error_Info = other.m_Additional_Error_Info;
    Directory_Use::Copy(other, *this);
    return *this;
}

CFileCache::~CFileCache() {
    Directory_Use::End(*this);
}

void CFileCache::Initialize_Mime() {
    TRACE_CALL_WITHOUT_ARGUMENTS();
    if (m_Magic.Is_Initialized()) {
        return;
    }
    TRACE_DATA("MIME magic is not initialized.\n");
    m_Magic.Read_From_Builtin_Resource();
}

std::string CFileCache::Get_Additional_Error_Info() const {
    const std::lock_guard guard(s_error_info_guard);
    return m_Additional_Error_Info;
}

void CFileCache::Set_Additional_Error_Info(std::string text) {
    const std::lock_guard guard(s_error_info_guard);
    m_Additional_Error_Info = std::move(text);
}

std::string CFileCache::Get_Msg_Separator() const {
    return "=======================================";
}

} // namespace QEL::FrontEnd::FileCache
