// A small host of QEL File Cache: it asks for one file, opens what it gets, and tells its user what happened.
//
//   example_host CACHE_DIRECTORY REQUEST
//
// Exit status: 0 when there is a file, 1 when there is none, 2 when the host is used wrongly.

#include "Request_Thread.h"

#include <filecache/IFileCache.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

namespace {

using QEL::FrontEnd::FileCache::IFileCache;

constexpr int Ordinary_Request = 213;

/// A code that no request writes: it shows that the request did not go to that kind of remote side.
constexpr int Not_Asked = -1;

/// What a request answered.
struct Answer {
    std::string path;
    bool download_error = false;
    int http_error = Not_Asked;
    int file_share_error = Not_Asked;
};

Answer Ask(IFileCache& cache, const std::string& request) {
    Answer answer;
    answer.path = cache.Get_Cached_File_and_Status(request, Ordinary_Request, answer.download_error, &answer.http_error,
                                                   &answer.file_share_error);
    return answer;
}

/// One sentence for the user.
std::string What_Happened(const Answer& answer) {
    if (answer.path.empty()) {
        return answer.download_error ? "The file could not be fetched, and no earlier copy of it is left."
                                     : "There is no such file.";
    }
    return answer.download_error ? "The file could not be fetched. This is the last copy; it may be out of date."
                                 : "The file is up to date.";
}

void Show(const IFileCache& cache, const Answer& answer) {
    std::cout << What_Happened(answer) << "\n";
    if (answer.download_error) {
        std::cout << "Codes for the support: HTTP " << answer.http_error << ", file share " << answer.file_share_error
                  << "\n";
        // Only some failures leave a text, those with server certificates among them.
        const std::string info = cache.Get_Additional_Error_Info();
        if (!info.empty()) {
            std::cout << info << "\n" << cache.Get_Msg_Separator() << "\n";
        }
    }
}

/// Opens the copy as a host does that wants its content. True when it could be read.
bool Read_Copy(const std::string& path) {
    std::ifstream copy(path, std::ios::binary);
    if (!copy) {
        std::cerr << "The copy cannot be opened: " << path << "\n";
        return false;
    }
    std::size_t size = 0;
    while (copy.get() != std::ifstream::traits_type::eof()) {
        ++size;
    }
    std::cout << "Copy: " << path << "\nSize: " << size << " bytes\n";
    return true;
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 3) {
        std::cerr << "usage: example_host CACHE_DIRECTORY REQUEST\n";
        return 2;
    }
    try {
        const Request_Thread this_thread;
        const std::shared_ptr<IFileCache> cache = IFileCache::Instance();
        // The cache takes the directory letter by letter, and wants it absolute.
        const std::string directory = std::filesystem::absolute(arguments[1]).string();
        // False also for a damaged list of the copies. Requests are served all the same; what the list lost is
        // fetched again.
        if (!cache->Set_Cache_Directory(directory)) {
            std::cerr << "The cache directory is missing, or its list of copies is damaged: " << directory << "\n";
        }
        const Answer answer = Ask(*cache, arguments[2]);
        Show(*cache, answer);
        return !answer.path.empty() && Read_Copy(answer.path) ? 0 : 1;
    } catch (const std::exception& error) {
        // No request raises: memory is exhausted, or the process-wide lock could not be taken.
        std::cerr << "The request could not be made: " << error.what() << "\n";
        return 1;
    }
}
