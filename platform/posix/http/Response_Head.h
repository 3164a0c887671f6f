#pragma once

#include "platform/common/Response_Headers.h"

namespace QEL::FrontEnd::Platform {

/// What makes a response invalid that libcurl takes, such as "has an invalid status"; null when nothing does.
const char* Fault_Of_Head(long status, const Response_Headers& headers);

/// Whether the headers say where the body ends; otherwise it ends with the connection.
bool Says_Where_Body_Ends(const Response_Headers& headers);

} // namespace QEL::FrontEnd::Platform
