#include "filecache/c/qelfilecache_c.h"

#include "filecache/IFileCache.h"
#include "trace/Set_Trace_Level.h"

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <system_error>

using QEL::FrontEnd::FileCache::Directory_Result;
using QEL::FrontEnd::FileCache::IFileCache;
using QEL::FrontEnd::FileCache::Last_Request_Info;

/// What a handle points to: the cache, and the texts of the last request until they are fetched.
struct qelfilecache {
    std::shared_ptr<IFileCache> cache;
    std::string last_path;
    std::string error_info;
    Last_Request_Info last_request;
    Directory_Result directory_result = Directory_Result::Not_Set;
};

namespace {

/// Carries out what a function does; what it throws becomes a code.
template <typename Work>
int Code_Of(Work&& work) noexcept {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return QELFILECACHE_OUT_OF_MEMORY;
    } catch (const std::system_error&) {
        return QELFILECACHE_SYSTEM_ERROR;
    } catch (...) {
        return QELFILECACHE_UNEXPECTED_ERROR;
    }
}

int Refused_Unless(bool done) {
    return done ? QELFILECACHE_OK : QELFILECACHE_REFUSED;
}

/// Where a text goes.
class Text_Buffer {
public:
    /// Prepares for the case that no text comes.
    Text_Buffer(char* buffer, std::size_t size, std::size_t* needed) noexcept
        : m_Buffer(buffer), m_Size(size), m_Needed(needed) {
        Set_Needed(0);
        if (Is_Usable() && m_Size > 0) {
            m_Buffer[0] = '\0';
        }
    }

    bool Is_Usable() const { return m_Buffer != nullptr || m_Size == 0; }

    /// Copies the whole text or nothing.
    int Take(const std::string& text) const {
        const std::size_t needed = text.size() + 1;
        Set_Needed(needed);
        if (m_Size < needed) {
            return QELFILECACHE_BUFFER_TOO_SMALL;
        }
        std::memcpy(m_Buffer, text.c_str(), needed);
        return QELFILECACHE_OK;
    }

    /// A path; an empty one says that there is no file.
    int Take_Path(const std::string& path) const {
        const int code = Take(path);
        return path.empty() ? QELFILECACHE_NO_FILE : code;
    }

private:
    void Set_Needed(std::size_t needed) const {
        if (m_Needed != nullptr) {
            *m_Needed = needed;
        }
    }

    char* const m_Buffer;
    const std::size_t m_Size;
    std::size_t* const m_Needed;
};

void Set(int* target, int value) {
    if (target != nullptr) {
        *target = value;
    }
}

/// Keeps the text about the last failure. It can be had while another thread's request is under way: a request that has
/// returned does not wait for the next one. It stays served when the text cannot be had.
void Keep_Error_Info(qelfilecache& handle) noexcept {
    try {
        handle.error_info = handle.cache->Get_Additional_Error_Info();
    } catch (...) {
        handle.error_info.clear();
    }
}

} // namespace

int QELFILECACHE_CALL qelfilecache_abi_version(void) {
    return QELFILECACHE_ABI_VERSION;
}

int QELFILECACHE_CALL qelfilecache_open(qelfilecache** cache) {
    if (cache == nullptr) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    *cache = nullptr;
    return Code_Of([&] {
        auto handle = std::make_unique<qelfilecache>();
        handle->cache = IFileCache::Instance();
        *cache = handle.release();
        return QELFILECACHE_OK;
    });
}

void QELFILECACHE_CALL qelfilecache_close(qelfilecache* cache) {
    delete cache;
}

int QELFILECACHE_CALL qelfilecache_set_directory(qelfilecache* cache, const char* directory) {
    if (cache == nullptr || directory == nullptr) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] {
        const bool is_set = cache->cache->Set_Cache_Directory(directory);
        cache->directory_result = QEL::FrontEnd::FileCache::Get_Last_Directory_Result();
        return Refused_Unless(is_set);
    });
}

int QELFILECACHE_CALL qelfilecache_directory_result(const qelfilecache* cache) {
    constexpr int codes[] = {QELFILECACHE_OK, QELFILECACHE_REFUSED, QELFILECACHE_DAMAGED_LIST}; // by Directory_Result
    return cache == nullptr ? QELFILECACHE_BAD_ARGUMENT : codes[static_cast<std::size_t>(cache->directory_result)];
}

int QELFILECACHE_CALL qelfilecache_get(qelfilecache* cache, const char* url_or_path, int request_kind, char* path,
                                       std::size_t path_size, std::size_t* path_needed, int* download_error,
                                       int* http_error, int* file_share_error) {
    const Text_Buffer buffer(path, path_size, path_needed);
    Set(download_error, 0);
    Set(http_error, QELFILECACHE_NOT_ASKED);
    Set(file_share_error, QELFILECACHE_NOT_ASKED);
    if (cache == nullptr || url_or_path == nullptr || !buffer.Is_Usable()) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] {
        cache->last_path.clear();
        cache->last_request = {};
        bool failed = false;
        cache->last_path =
            cache->cache->Get_Cached_File_and_Status(url_or_path, request_kind, failed, http_error, file_share_error);
        Set(download_error, failed ? 1 : 0);
        Keep_Error_Info(*cache);
        cache->last_request = QEL::FrontEnd::FileCache::Get_Last_Request_Info();
        return buffer.Take_Path(cache->last_path);
    });
}

int QELFILECACHE_CALL qelfilecache_last_path(const qelfilecache* cache, char* path, std::size_t path_size,
                                             std::size_t* path_needed) {
    const Text_Buffer buffer(path, path_size, path_needed);
    return cache == nullptr || !buffer.Is_Usable() ? QELFILECACHE_BAD_ARGUMENT : buffer.Take_Path(cache->last_path);
}

int QELFILECACHE_CALL qelfilecache_error_info(const qelfilecache* cache, char* text, std::size_t text_size,
                                              std::size_t* text_needed) {
    const Text_Buffer buffer(text, text_size, text_needed);
    return cache == nullptr || !buffer.Is_Usable() ? QELFILECACHE_BAD_ARGUMENT : buffer.Take(cache->error_info);
}

int QELFILECACHE_CALL qelfilecache_last_request(const qelfilecache* cache, int* http_status, int* system_error,
                                                char* text, std::size_t text_size, std::size_t* text_needed) {
    const Text_Buffer buffer(text, text_size, text_needed);
    Set(http_status, 0);
    Set(system_error, 0);
    if (cache == nullptr || !buffer.Is_Usable()) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    Set(http_status, cache->last_request.http_status);
    Set(system_error, static_cast<int>(cache->last_request.system_error));
    return buffer.Take(cache->last_request.text);
}

int QELFILECACHE_CALL qelfilecache_message_separator(const qelfilecache* cache, char* text, std::size_t text_size,
                                                     std::size_t* text_needed) {
    const Text_Buffer buffer(text, text_size, text_needed);
    if (cache == nullptr || !buffer.Is_Usable()) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] { return buffer.Take(cache->cache->Get_Msg_Separator()); });
}

int QELFILECACHE_CALL qelfilecache_clear(qelfilecache* cache) {
    if (cache == nullptr) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] { return Refused_Unless(cache->cache->Clear()); });
}

int QELFILECACHE_CALL qelfilecache_remove(qelfilecache* cache, const char* url_or_path) {
    if (cache == nullptr || url_or_path == nullptr) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] { return Refused_Unless(Remove_From_Cache(*cache->cache, url_or_path)); });
}

int QELFILECACHE_CALL qelfilecache_purge(qelfilecache* cache) {
    if (cache == nullptr) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] { return Refused_Unless(cache->cache->Purge_Cache_Folder()); });
}

int QELFILECACHE_CALL qelfilecache_set_trace_level(int level) {
    if (level < QELPCTRC_OFF || level > QELPCTRC_TIME_STAMPED) {
        return QELFILECACHE_BAD_ARGUMENT;
    }
    return Code_Of([&] {
        QEL::FrontEnd::FileCache::Set_Trace_Level(static_cast<QELPCTRC_LEVEL>(level));
        return QELFILECACHE_OK;
    });
}
