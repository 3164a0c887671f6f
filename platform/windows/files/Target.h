#pragma once

#include "platform/windows/Windows_Headers.h"

#include <string>

namespace QEL::FrontEnd::Platform {

/// What a path leads to.
struct Target {
    DWORD attributes = 0;
    FILETIME write_time{};
    ULARGE_INTEGER length{};
};

/// Follows symbolic links, whose own attributes and time the system reports otherwise.
/// @return the error.
DWORD Target_Of(const std::string& path, Target& target);

} // namespace QEL::FrontEnd::Platform
