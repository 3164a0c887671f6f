// A small host of QEL File Cache: it asks for files, opens what it gets, and says what happened.
//
//   example_host CACHE_DIRECTORY REQUEST...
//
// Exit status: 0 when there is a file for each request, 1 when one has none, 2 when the host is used wrongly.

#include "Request_Thread.h"

#include <filecache/IFileCache.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

namespace {

using QEL::FrontEnd::FileCache::Directory_Result;
using QEL::FrontEnd::FileCache::Get_Last_Directory_Result;
using QEL::FrontEnd::FileCache::Get_Last_Request_Info;
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

/// Opens the file as a host does that wants its content. False when it cannot be read.
bool Read_File(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    std::size_t size = 0;
    while (file.get() != std::ifstream::traits_type::eof()) {
        ++size;
    }
    std::cout << "Copy: " << path << "\nSize: " << size << " bytes\n";
    return true;
}

/// One sentence for the user.
std::string What_Happened(const Answer& answer, bool is_open) {
    if (answer.path.empty()) {
        return answer.download_error ? "The file could not be fetched, and no earlier copy of it is left."
                                     : "There is no such file.";
    }
    if (!is_open) {
        // The cache does not notice when its directory cannot be written.
        return "The copy cannot be opened: " + answer.path + ". The cache directory is gone or cannot be written.";
    }
    return answer.download_error ? "The file could not be fetched. This is the last copy; it may be out of date."
                                 : "The file is up to date.";
}

/// The cache takes its directory letter by letter: always the same absolute path.
std::string One_Spelling(const char* directory) {
    std::error_code missing;
    const auto path = std::filesystem::canonical(directory, missing);
    return (missing ? std::filesystem::absolute(directory) : path).string();
}

/// True when there is a file.
bool Serve(IFileCache& cache, const std::string& request) {
    Answer answer = Ask(cache, request);
    bool is_open = !answer.path.empty() && Read_File(answer.path);
    if (!answer.path.empty() && !is_open) {
        // Another thread's request may have replaced the copy: its successor has another name.
        answer = Ask(cache, request);
        is_open = !answer.path.empty() && Read_File(answer.path);
    }
    std::cout << What_Happened(answer, is_open) << "\n";
    // Without an error the codes may be those of an earlier request.
    if (answer.download_error) {
        std::cout << "Codes for the support: HTTP " << answer.http_error << ", file share " << answer.file_share_error
                  << "\n";
        // Of this request alone, with cause and remedy.
        if (const std::string text = Get_Last_Request_Info().text; !text.empty()) {
            std::cout << text << "\n";
        }
    }
    return is_open;
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count < 3) {
        std::cerr << "usage: example_host CACHE_DIRECTORY REQUEST...\n";
        return 2;
    }
    try {
        const Request_Thread this_thread;
        const std::shared_ptr<IFileCache> cache = IFileCache::Instance();
        const std::string directory = One_Spelling(arguments[1]);
        if (!cache->Set_Cache_Directory(directory)) {
            if (Get_Last_Directory_Result() == Directory_Result::Not_Set) {
                std::cerr << "There is no cache directory " << directory << ". Create it.\n";
                return 2;
            }
            std::cerr << "The list of copies in " << directory
                      << " is damaged. The files that it has lost are fetched again.\n";
        }
        bool have_all = true;
        for (int next = 2; next < argument_count; ++next) {
            have_all = Serve(*cache, arguments[next]) && have_all;
        }
        return have_all ? 0 : 1;
    } catch (const std::exception& error) {
        // No request raises: memory is exhausted, or the process-wide lock could not be taken.
        std::cerr << "The request could not be made: " << error.what() << "\n";
        return 1;
    }
}
