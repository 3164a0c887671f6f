#include "platform/windows/files/Target.h"

#include "platform/windows/handles/Unique_Handle.h"

namespace QEL::FrontEnd::Platform {

DWORD Target_Of(const std::string& path, Target& target) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) == 0) {
        return GetLastError();
    }
    target = {data.dwFileAttributes, data.ftLastWriteTime, {{data.nFileSizeLow, data.nFileSizeHigh}}};
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        return ERROR_SUCCESS;
    }
    const Object_Handle file(CreateFileA(path.c_str(), FILE_READ_ATTRIBUTES,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                         FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!file.Is_Open() || GetFileInformationByHandle(file.Get(), &information) == 0) {
        return GetLastError();
    }
    target = {information.dwFileAttributes,
              information.ftLastWriteTime,
              {{information.nFileSizeLow, information.nFileSizeHigh}}};
    return ERROR_SUCCESS;
}

} // namespace QEL::FrontEnd::Platform
