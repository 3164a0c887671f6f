#pragma once

#include "filecache/locks.h"

#include <condition_variable>
#include <thread>

/// True when some thread holds the process-wide lock of the public operations. One thread looks for all calls: to
/// start one for each record takes long under Wine.
inline bool Api_Lock_Is_Held() {
    struct Watcher {
        enum { Idle, Asked, Ended } state = Idle;
        bool held = false;
        std::mutex guard;
        std::condition_variable changed;
        std::thread thread{[this] {
            for (std::unique_lock lock(guard);; changed.notify_all()) {
                changed.wait(lock, [this] { return state != Idle; });
                if (state == Ended) {
                    return;
                }
                held = !QEL::FrontEnd::FileCache::s_api_mutex.try_lock();
                if (!held) {
                    QEL::FrontEnd::FileCache::s_api_mutex.unlock();
                }
                state = Idle;
            }
        }};

        bool Look() {
            std::unique_lock lock(guard);
            state = Asked;
            changed.notify_all();
            changed.wait(lock, [this] { return state == Idle; });
            return held;
        }
        ~Watcher() {
            std::unique_lock lock(guard);
            state = Ended;
            changed.notify_all();
            lock.unlock();
            thread.join();
        }
    };
    static Watcher watcher;
    return watcher.Look();
}
