#pragma once

#include "filecache/oswrap/IOSWrapper.h"

#include <string>

/// What a request names, found out without a trace record. The operations of CFileCache trace what they find here.
namespace QEL::FrontEnd::FileCache {

bool Names_Web_File(const std::string& url);

/// True of a file on a share, or on a drive that is no fixed disk.
bool Names_Share_File(const std::string& path, OSWRAPI::IOSWrapper& os_wrapper);

/// True of a "file:" URL of any form.
bool Is_Written_As_File_Url(const std::string& url);

/// What a "file:" URL names; empty when its form is not supported.
std::string Path_Of_File_Url(const std::string& url);

/// True when requests of this kind want the file on a share to be opened where it is. Asks the share.
bool Is_Left_In_Place(const std::string& path, int request_kind);

} // namespace QEL::FrontEnd::FileCache
