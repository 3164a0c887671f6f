#include "util/Trace_File.h"

#include "platform/windows/handles/Unique_Handle.h"

#include <fcntl.h>
#include <io.h>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

bool Is_Plain_File(HANDLE file) {
    constexpr DWORD other_kinds = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
    BY_HANDLE_FILE_INFORMATION information;
    return GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) != 0 &&
           (information.dwFileAttributes & other_kinds) == 0 && information.nNumberOfLinks == 1;
}

} // namespace

std::FILE* Open_Trace_File(const std::string& path) {
    // The last flag keeps the server of a pipe, should one stand there, from acting in the user's name.
    Platform::Object_Handle file(
        CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT, nullptr));
    if (!file.Is_Open() || !Is_Plain_File(file.Get()) || SetEndOfFile(file.Get()) == 0) {
        return nullptr;
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file.Get()), _O_TEXT | _O_NOINHERIT);
    if (descriptor < 0) {
        return nullptr;
    }
    file.Release();
    std::FILE* const stream = _fdopen(descriptor, "wt");
    if (stream == nullptr) {
        _close(descriptor);
    }
    return stream;
}

} // namespace QEL::FrontEnd::Util::Tracing
