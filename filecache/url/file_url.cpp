#include "filecache/CFileCache.h"

#include "filecache/trace_messages.h"
#include "filecache/url/request_kind.h"

#include <algorithm>
#include <string_view>

namespace QEL::FrontEnd::FileCache {

namespace {

// Three slashes usually carry a drive path and two a server name.
constexpr std::string_view Drive_Url = "file:///";
constexpr std::string_view Share_Url = "file://";

/// Empty when the form is not supported. The two slashes of a share become those of the UNC path.
std::string Path_Within_File_Url(const std::string& url) {
    if (url.starts_with(Drive_Url)) {
        return url.substr(Drive_Url.size());
    }
    return url.starts_with(Share_Url) ? url.substr(Share_Url.size() - 2) : std::string();
}

void Write_With_Backslashes(std::string& path) {
    std::replace(path.begin(), path.end(), '/', '\\');
}

} // namespace

std::string Path_Of_File_Url(const std::string& url) {
    std::string path = Path_Within_File_Url(url);
    Write_With_Backslashes(path);
    return path;
}

std::string CFileCache::Normalize_if_File_URL(const std::string& url) {
    std::string path;
    return Normalize_if_File_URL(url, path);
}

const std::string& CFileCache::Normalize_if_File_URL(const std::string& url, std::string& path) {
    TRACE_CALL("url='%s'", url.c_str());
    if (!Is_File_URL(url)) {
        TRACE_DATA("Not file URL '%s'. Will not be normalized.\n", url.c_str());
        TRACE_RETURN("%s", url.c_str());
        return url;
    }

    // The two messages have the kinds the other way round; readers of traces know them so.
    path = Path_Within_File_Url(url);
    if (url.starts_with(Drive_Url)) {
        TRACE_DATA("File URL with network share detected: '%s'.\n", url.c_str());
    } else if (url.starts_with(Share_Url)) {
        TRACE_DATA("File URL with local file detected: '%s'.\n", url.c_str());
    } else {
        TRACE_BUG();
        TRACE_ERROR("Unsupported file URL format unexpected at this time: '%s'.\n", url.c_str());
        TRACE_RETURN("%s", Shown(path));
        return path;
    }

    TRACE_DATA("rtn = '%s'.\n", path.c_str());
    Write_With_Backslashes(path);
    TRACE_RETURN("rtn = %s", path.c_str());
    return path;
}

} // namespace QEL::FrontEnd::FileCache
