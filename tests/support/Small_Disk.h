#pragma once

#include "tests/support/Standard_Library.h"

#include <sched.h>
#include <sys/mount.h>

namespace QEL::Tests {

/// Runs the steps with a small file system on a directory, which they alone see.
/// @param size such as "256k".
/// @return whether this user may mount one; otherwise nothing has run.
inline bool With_Small_Disk(const std::string& directory, const std::string& size, const std::function<void()>& steps) {
    bool is_mounted = false;
    std::thread([&] {
        is_mounted = ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                     ::mount("tmpfs", directory.c_str(), "tmpfs", 0, ("size=" + size).c_str()) == 0;
        if (is_mounted) {
            steps();
        }
    }).join();
    return is_mounted;
}

} // namespace QEL::Tests
