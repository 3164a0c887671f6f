#include "filecache/CFileCache.h"

#include "filecache/texts.h"
#include "filecache/trace_messages.h"
#include "filecache/url/request_kind.h"
#include "util/Path_Queries.h"

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr unsigned int Last_Drive_Number = 25;
constexpr unsigned int Fixed_Disk = 3;

/// The request kinds that want a writable file on a share to be opened where it is.
bool Wants_Writable_Original(int request_kind) {
    return request_kind == 201 || request_kind == 202;
}

/// Attributes that cannot be read have every bit set, so the file counts as read-only.
bool Is_Writable(const std::string& path) {
    return (Util::FileSystem::Get_File_Attributes(path) & Util::FileSystem::Attribute_Read_Only) == 0;
}

} // namespace

bool Names_Web_File(const std::string& url) {
    return url.starts_with(Http_Prefix) || url.starts_with(Https_Prefix);
}

bool Is_Written_As_File_Url(const std::string& url) {
    return url.starts_with(File_Prefix);
}

bool Names_Share_File(const std::string& path, OSWRAPI::IOSWrapper& os_wrapper) {
    if (path.starts_with("\\\\")) {
        return true;
    }
    const auto drive_number = static_cast<unsigned int>(os_wrapper.Get_Drive_Number(path.c_str()));
    if (drive_number > Last_Drive_Number) {
        return false;
    }
    const char root[] = {static_cast<char>('A' + drive_number), ':', '\0'};
    return os_wrapper.Get_Drive_Type(root) != Fixed_Disk;
}

bool Is_Left_In_Place(const std::string& path, int request_kind) {
    return Wants_Writable_Original(request_kind) && Util::FileSystem::Path_Exists(path) && Is_Writable(path);
}

bool CFileCache::Is_Inet_URL(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_inet_url = Names_Web_File(url);
    return TRACED(is_inet_url);
}

bool CFileCache::Is_File_URL(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_file_url = Is_Written_As_File_Url(url);
    return TRACED(is_file_url);
}

bool CFileCache::Is_File_Share(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_file_share = Names_Share_File(url, *m_OS_Wrapper);
    return TRACED(is_file_share);
}

bool CFileCache::Is_Local(const std::string& url) {
    TRACE_CALL("url='%s'", url.c_str());
    const bool is_local = !Is_Inet_URL(url) && !Is_File_URL(url) && !Is_File_Share(url);
    return TRACED(is_local);
}

} // namespace QEL::FrontEnd::FileCache
