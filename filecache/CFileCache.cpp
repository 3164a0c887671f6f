#include "filecache/CFileCache.h"

#include "filecache/Process_Wide.h"
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

CFileCache::CFileCache(const CFileCache& other) = default;
CFileCache& CFileCache::operator=(const CFileCache& other) = default;
CFileCache::~CFileCache() = default;

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
