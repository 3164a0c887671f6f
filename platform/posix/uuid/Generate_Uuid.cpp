#include "util/Generate_Uuid.h"

#include <array>

#include <uuid.h>

namespace QEL::FrontEnd::Util {

std::string Generate_Uuid() {
    uuid_t uuid;
    // Random bytes of the kernel on every call, so that a forked process does not repeat its parent's.
    ::uuid_generate_random(uuid);
    std::array<char, UUID_STR_LEN> text;
    ::uuid_unparse_lower(uuid, text.data());
    return text.data();
}

} // namespace QEL::FrontEnd::Util
