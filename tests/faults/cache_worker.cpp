// A host that uses a cache directory, for a driver that kills it or fills the disk.
//
//   cache_worker CACHE_DIRECTORY SHARE_FOLDER READY_FILE ROUNDS FILE_LIMIT REQUEST...
//
// Loads the directory, says so by creating the file, and makes each request once a round. ROUNDS 0:
// until it is killed. ROUNDS -1: threads make them, with traces, and main returns meanwhile. FILE_LIMIT: how long a
// file may become from then on, as on a disk that is full there; 0: no limit. Ends with status 0 when no exception left
// the cache.

#include "filecache/CFileCache.h"
#include "tests/faults/support/Failing_OS_Wrapper.h"
#include "trace/Set_Trace_Level.h"

#ifdef _WIN32
#include <objbase.h>
#else
#include <sys/resource.h>
#endif

namespace {

bool Limit_Files([[maybe_unused]] unsigned long bytes) {
#ifdef _WIN32
    return false;
#else
    const rlimit limit = {bytes, bytes};
    return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
#endif
}

void Initialise_Thread() {
#ifdef _WIN32
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
#endif
}

int Return_While_Threads_Request(const char* directory, const std::vector<std::string>& requests) {
    using namespace QEL::FrontEnd::FileCache;
    Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA);
    const auto cache = IFileCache::Instance();
    cache->Set_Cache_Directory(directory);
    static std::counting_semaphore begun(0);
    for (const std::string& request : requests) {
        std::thread([cache, request] {
            Initialise_Thread();
            cache->Get_Cached_File(request);
            for (begun.release();; cache->Get_Cached_File(request)) {
                std::this_thread::sleep_for(std::chrono::microseconds(1)); // lets the others have their turn
            }
        }).detach();
    }
    for (const auto& request : requests) {
        static_cast<void>(request);
        begun.acquire();
    }
    std::this_thread::sleep_for(std::chrono::microseconds(std::random_device()() % 10000));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    constexpr int first_request = 6;
    if (argc <= first_request) {
        return 2;
    }
    Initialise_Thread();
    const int rounds = std::atoi(argv[4]);
    const std::vector<std::string> requests(argv + first_request, argv + argc);
    if (rounds < 0) {
        return Return_While_Threads_Request(argv[1], requests);
    }
    QEL::FrontEnd::FileCache::CFileCache cache(std::make_shared<QEL::Tests::Failing_OS_Wrapper>(argv[2]));
    cache.Set_Cache_Directory(argv[1]);
    std::ofstream(argv[3]) << "ready";

    const unsigned long file_limit = std::stoul(argv[5]);
    if (file_limit > 0) {
        if (!Limit_Files(file_limit)) {
            return 3;
        }
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_ADDITIONAL_DATA); // the trace reaches the limit, too
    }
    for (int round = 0; rounds == 0 || round < rounds; ++round) {
        for (const std::string& request : requests) {
            cache.Get_Cached_File(request);
        }
    }
    return 0;
}
