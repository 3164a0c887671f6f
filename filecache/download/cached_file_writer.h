#pragma once

#include <cstddef>
#include <fstream>
#include <string>

namespace QEL::FrontEnd::FileCache {

/// Writes a downloaded body as a text file of the platform. A failure to write or close is not
/// reported: the copy then holds what could be written.
inline void Write_Cached_File(const std::string& cached_file, const char* data, std::size_t length) {
    std::ofstream file(cached_file);
    file.write(data, static_cast<std::streamsize>(length));
    file.close();
}

} // namespace QEL::FrontEnd::FileCache
