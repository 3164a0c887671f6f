#include "util/Standard_Error.h"

#include "platform/posix/system/File_Descriptor.h"
#include "platform/posix/system/Write_Signal_Guard.h"

#include <unistd.h>

namespace QEL::FrontEnd::Util {

namespace {

ssize_t Write_Without_Signal(void*, const char* text, std::size_t length) {
    const Platform::Write_Signal_Guard guard;
    Platform::Occupy_Standard_Error();
    return ::write(STDERR_FILENO, text, length);
}

std::FILE* Open_Standard_Error() {
    cookie_io_functions_t functions{};
    functions.write = Write_Without_Signal;
    std::FILE* const stream = ::fopencookie(nullptr, "w", functions);
    if (stream == nullptr) {
        return stderr;
    }
    std::setvbuf(stream, nullptr, _IOLBF, BUFSIZ);
    return stream;
}

} // namespace

std::FILE* Standard_Error() {
    static std::FILE* const stream = Open_Standard_Error();
    return stream;
}

} // namespace QEL::FrontEnd::Util
