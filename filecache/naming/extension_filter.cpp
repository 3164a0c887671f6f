#include "filecache/CFileCache.h"

#include "filecache/texts.h"
#include "filecache/trace_messages.h"
#include "util/Multibyte_Compare.h"

#include <algorithm>
#include <array>

namespace QEL::FrontEnd::FileCache {

namespace {

/// What the shell would run as a program or script. The list is complete as it is.
constexpr std::array Dangerous_Extensions = {".COM", ".EXE", ".BAT", ".CMD", ".VBS", ".VBE",
                                             ".JS",  ".JSE", ".WSF", ".WSH", ".MSC"};

} // namespace

std::string CFileCache::Filter_Dangerous_Extensions(const std::string& extension) {
    TRACE_CALL("extension='%s'", extension.c_str());
    const bool dangerous =
        std::any_of(Dangerous_Extensions.begin(), Dangerous_Extensions.end(), [&](const char* dangerous_extension) {
            return Util::Compare_Ignoring_Case(dangerous_extension, extension) == 0;
        });
    std::string filtered = dangerous ? Default_Extension : extension; // GCOVR_EXCL_BR_LINE: half-way, only an exception
    return TRACED(std::move(filtered));
}

} // namespace QEL::FrontEnd::FileCache
