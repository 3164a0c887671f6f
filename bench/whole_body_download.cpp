// Downloads a file as plainly as it can be done when nothing may be written before all of it is there, as it
// is for the cache: the name of a copy follows from its content.
//
//     whole_body_download URL FILE

#include <curl/curl.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

struct Body {
    CURL* easy;
    char* bytes = nullptr;
    std::size_t size = 0;
    std::size_t capacity = 0;
};

std::size_t Take(char* bytes, std::size_t, std::size_t count, void* context) {
    Body& body = *static_cast<Body*>(context);
    if (body.bytes == nullptr) {
        curl_off_t promised = 0;
        curl_easy_getinfo(body.easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &promised);
        if (promised <= 0) {
            return 0; // which ends the transfer
        }
        body.capacity = static_cast<std::size_t>(promised);
        body.bytes = static_cast<char*>(std::malloc(body.capacity));
    }
    if (body.bytes == nullptr || count > body.capacity - body.size) {
        return 0;
    }
    std::memcpy(body.bytes + body.size, bytes, count);
    body.size += count;
    return count;
}

bool Write(const Body& body, const char* path) {
    const int file = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    std::size_t written = 0;
    for (ssize_t count = 1; written < body.size && count > 0; written += static_cast<std::size_t>(count)) {
        count = ::write(file, body.bytes + written, body.size - written);
        if (count < 0) {
            return false;
        }
    }
    return file >= 0 && ::close(file) == 0 && written == body.size;
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 3) {
        std::fputs("usage: whole_body_download URL FILE\n", stderr);
        return 2;
    }
    Body body{curl_easy_init()};
    curl_easy_setopt(body.easy, CURLOPT_URL, arguments[1]);
    curl_easy_setopt(body.easy, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(body.easy, CURLOPT_BUFFERSIZE, 256L * 1024);
    curl_easy_setopt(body.easy, CURLOPT_WRITEFUNCTION, &Take);
    curl_easy_setopt(body.easy, CURLOPT_WRITEDATA, &body);
    const bool is_fetched = curl_easy_perform(body.easy) == CURLE_OK && Write(body, arguments[2]);
    curl_easy_cleanup(body.easy);
    std::free(body.bytes);
    return is_fetched ? 0 : 1;
}
