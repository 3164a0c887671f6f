#pragma once

#include "filecache/locks.h"

#include <future>
#include <mutex>

/// True when some thread holds the process-wide lock of the public operations.
inline bool Api_Lock_Is_Held() {
    return std::async(std::launch::async,
                      [] {
                          const std::unique_lock lock(QEL::FrontEnd::FileCache::s_api_mutex, std::try_to_lock);
                          return !lock.owns_lock();
                      })
        .get();
}
