#pragma once

#include <cerrno>
#include <cstddef>

#include <unistd.h>

namespace QEL::FrontEnd::Platform {

/// Writes all bytes, however many writes it takes. False, with errno set, when one of them fails.
inline bool Write_All(int target, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = TEMP_FAILURE_RETRY(::write(target, bytes, count));
        if (written < 0) {
            return false;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace QEL::FrontEnd::Platform
