#include "filecache/CFileCache.h"

#include "filecache/texts.h"
#include "filecache/trace_messages.h"

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr unsigned int Last_Drive_Number = 25;
constexpr unsigned int Fixed_Disk = 3;

} // namespace

bool CFileCache::Is_Inet_URL(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_inet_url = url.starts_with(Http_Prefix) || url.starts_with(Https_Prefix);
    TRACE_RETURN("%s", Shown(is_inet_url));
    return is_inet_url;
}

bool CFileCache::Is_File_URL(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_file_url = url.starts_with(File_Prefix);
    TRACE_RETURN("%s", Shown(is_file_url));
    return is_file_url;
}

bool CFileCache::Is_File_Share(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    bool is_file_share = url.starts_with("\\\\");
    if (!is_file_share) {
        const auto drive_number = static_cast<unsigned int>(m_OS_Wrapper->Get_Drive_Number(url.c_str()));
        if (drive_number <= Last_Drive_Number) {
            const char root[] = {static_cast<char>('A' + drive_number), ':', '\0'};
            is_file_share = m_OS_Wrapper->Get_Drive_Type(root) != Fixed_Disk;
        }
    }
    TRACE_RETURN("%s", Shown(is_file_share));
    return is_file_share;
}

bool CFileCache::Is_Local(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_local = !Is_Inet_URL(url) && !Is_File_URL(url) && !Is_File_Share(url);
    TRACE_RETURN("%s", Shown(is_local));
    return is_local;
}

} // namespace QEL::FrontEnd::FileCache
