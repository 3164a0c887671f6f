#pragma once

#include "filecache/locks.h"

#include <semaphore>
#include <thread>

/// True when some thread holds the process-wide lock of the public operations. One thread looks for all calls: to
/// start one for each record takes long under Wine.
inline bool Api_Lock_Is_Held() {
    struct Watcher {
        std::binary_semaphore asked{0};
        std::binary_semaphore said{0};
        bool held = false;
        std::jthread thread{[this](const std::stop_token& end) {
            for (asked.acquire(); !end.stop_requested(); asked.acquire()) {
                held = !QEL::FrontEnd::FileCache::s_api_mutex.try_lock();
                if (!held) {
                    QEL::FrontEnd::FileCache::s_api_mutex.unlock();
                }
                said.release();
            }
        }};
        ~Watcher() {
            thread.request_stop();
            asked.release();
        }
    };
    static Watcher watcher;
    watcher.asked.release();
    watcher.said.acquire();
    return watcher.held;
}
