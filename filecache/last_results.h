#pragma once

#include "filecache/IFileCache.h"

#include <cstdint>
#include <string_view>

namespace QEL::FrontEnd::FileCache {

// What the operations of a thread note for Get_Last_Request_Info() and Get_Last_Directory_Result().

/// A request begins.
void Forget_Last_Request();
/// A response has come; what was noted of an error before is gone.
/// @param text cause and remedy, where the status alone does not say enough.
void Note_Status(long status, std::string_view text = {});
/// There is no response, or no copy. What is noted of the same error already stays where the text is the same or empty.
/// @param proxy_status with which a proxy has refused the connection; 0: none has.
void Note_Error(std::uint32_t error, std::string_view text, long proxy_status = 0);
/// @return true when the directory is set and its list is sound.
bool Note_Directory(Directory_Result result);

} // namespace QEL::FrontEnd::FileCache
