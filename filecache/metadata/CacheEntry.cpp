#include "filecache/metadata/CacheEntry.h"

namespace QEL::FrontEnd::FileCache {

std::string CacheEntry::To_String() const {
    return "<CacheEntry cached_file=\"" + cached_file + "\" last_modified=\"" + last_modified + "\"/>";
}

} // namespace QEL::FrontEnd::FileCache
