#include "util/Path_Separator.h"

namespace QEL::FrontEnd::Util::FileSystem {

char Path_Separator(const std::string& /*directory*/) {
    return '\\';
}

} // namespace QEL::FrontEnd::Util::FileSystem
