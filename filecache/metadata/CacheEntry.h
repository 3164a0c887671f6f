#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::FileCache {

/// The data of one cached URL.
struct CacheEntry {
    std::string cached_file;                 ///< full path of the local copy
    std::string last_modified;               ///< of the remote side; compared, never parsed
    std::uint64_t last_checked_remotely = 0; ///< 100 ns since 1601-01-01 UTC; 0 when unknown

    /// One line for the trace: the copy and last_modified, nothing escaped.
    std::string To_String() const {
        // GCOVR_EXCL_BR_START: exceptions
        return "<CacheEntry cached_file=\"" + cached_file + "\" last_modified=\"" + last_modified + "\"/>";
        // GCOVR_EXCL_BR_STOP
    }
};

} // namespace QEL::FrontEnd::FileCache
