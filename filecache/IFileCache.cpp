#include "filecache/IFileCache.h"

#include "filecache/CFileCache.h"
#include "filecache/locks.h"
#include "filecache/oswrap/IOSWrapper.h"
#include "filecache/trace_messages.h"

namespace QEL::FrontEnd::FileCache {

namespace {

constexpr char Interface_Class[] = "QEL::FrontEnd::FileCache::IFileCache::";

} // namespace

std::mutex& s_api_mutex = *new std::mutex;
std::mutex& s_error_info_guard = *new std::mutex;

IFileCache::IFileCache() = default;
IFileCache::IFileCache(const IFileCache& other) = default;
IFileCache& IFileCache::operator=(const IFileCache& other) = default;
IFileCache::~IFileCache() = default;

/// One message of a static operation: it bears no object address.
#define TRACE_STATIC_DATA(format, ...)                                                                                 \
    do {                                                                                                               \
        if (CQelPcTrc* const trace_writer = Enabled_Trace(QELPCTRC_ADDITIONAL_DATA)) {                                 \
            trace_writer->Log_Additional_Data("TID: %d, %s%s/%d: " format, Util::Thread_Id(), Interface_Class,         \
                                              __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__);                          \
        }                                                                                                              \
    } while (false)

std::shared_ptr<IFileCache> IFileCache::Instance() {
    static std::shared_ptr<IFileCache> s_instance; // GCOVR_EXCL_BR_LINE: who waits for its making

    const std::lock_guard guard(s_api_mutex);
    TRACE_STATIC_DATA("CALL\n");
    if (!s_instance) {
        TRACE_STATIC_DATA("Creating s_instance...\n");
        s_instance = std::make_shared<CFileCache>(OSWRAPI::IOSWrapper::Create());
        TRACE_STATIC_DATA("Creation complete, s_instance = %p\n", static_cast<const void*>(s_instance.get()));
    }
    TRACE_RETURN_AS(Interface_Class, __func__, __LINE__, "s_instance = %p", static_cast<const void*>(s_instance.get()));
    return s_instance;
}

} // namespace QEL::FrontEnd::FileCache
