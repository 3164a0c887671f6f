#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace QEL::FrontEnd::Util::FileSystem {

/// Not the thread's last error says why: throwing and catching may change that.
struct Unreadable_File : std::runtime_error {
    Unreadable_File(const std::string& text, std::uint32_t number) : std::runtime_error(text), error(number) {}

    std::uint32_t error; ///< of the system
};

/// Reads the first `count` bytes of a file, local or on a share, or all when it has fewer.
/// @throws Unreadable_File with the path and the system's reason when it cannot be read.
std::string Read_File_Head(const std::string& path, std::size_t count);

} // namespace QEL::FrontEnd::Util::FileSystem
