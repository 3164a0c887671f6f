// Asks for one thing several times and marks the last request for whoever watches the system calls:
// before and behind it, this program looks for files that do not exist.
//
//     marked_request CACHE_DIRECTORY REQUEST

#include "filecache/CFileCache.h"
#include "tests/support/Standard_Library.h"

int main(int argument_count, char** arguments) {
    if (argument_count != 3) {
        return 2;
    }
    using namespace QEL::FrontEnd;
    FileCache::CFileCache cache(OSWRAPI::IOSWrapper::Create());
    if (!cache.Set_Cache_Directory(arguments[1])) {
        return 1;
    }
    const std::string request = arguments[2];
    std::string path;
    for (int warming_up = 0; warming_up < 3; ++warming_up) {
        path = cache.Get_Cached_File(request);
    }

    ::access("/mark-of-the-beginning", F_OK);
    path = cache.Get_Cached_File(request);
    ::access("/mark-of-the-end", F_OK);

    std::puts(path.c_str());
    return path.empty() ? 1 : 0;
}
