#include "filecache/CFileCache.h"

#include "filecache/trace_messages.h"

#include <algorithm>

namespace QEL::FrontEnd::FileCache {

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

    // Three slashes usually carry a drive path and two a server name. The two messages have the
    // kinds the other way round; readers of traces know them so.
    path.clear();
    if (url.starts_with("file:///")) {
        TRACE_DATA("File URL with network share detected: '%s'.\n", url.c_str());
        path = url.substr(8);
    } else if (url.starts_with("file://")) {
        TRACE_DATA("File URL with local file detected: '%s'.\n", url.c_str());
        path = url.substr(5); // the two slashes become those of the UNC path
    } else {
        TRACE_BUG();
        TRACE_ERROR("Unsupported file URL format unexpected at this time: '%s'.\n", url.c_str());
        TRACE_RETURN("%s", Shown(path));
        return path;
    }

    TRACE_DATA("rtn = '%s'.\n", path.c_str());
    std::replace(path.begin(), path.end(), '/', '\\');
    TRACE_RETURN("rtn = %s", path.c_str());
    return path;
}

} // namespace QEL::FrontEnd::FileCache
