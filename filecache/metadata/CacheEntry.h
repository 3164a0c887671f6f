#pragma once

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::FileCache {

/// What the cache knows of one cached URL. A plain value.
struct CacheEntry {
    std::string cached_file;                 ///< full path of the local copy
    std::string last_modified;               ///< the remote side's own stamp, compared and never parsed
    std::uint64_t last_checked_remotely = 0; ///< 100 ns since 1601-01-01 UTC; 0 when unknown

    /// One line for the trace: the copy and the stamp, nothing escaped.
    std::string To_String() const {
        // GCOVR_EXCL_BR_START: exceptions
        return "<CacheEntry cached_file=\"" + cached_file + "\" last_modified=\"" + last_modified + "\"/>";
        // GCOVR_EXCL_BR_STOP
    }
};

} // namespace QEL::FrontEnd::FileCache
