#include "util/Standard_Error.h"

namespace QEL::FrontEnd::Util {

std::FILE* Standard_Error() {
    return stderr;
}

} // namespace QEL::FrontEnd::Util
