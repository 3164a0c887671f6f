#pragma once

#include "util/IRequest_Object.h"

#include <cstdint>
#include <string>

/// The calls of the request object as the download and the freshness check make them: each throws
/// Com_Error for a failed result.
namespace QEL::FrontEnd::FileCache::Http_Request {

constexpr std::int32_t Milliseconds_Per_Second = 1000;

void Set_Timeouts(IRequest_Object& request, int connect_timeout);
/// @return the call's own result, for the trace.
HResult Send(IRequest_Object& request);
long Status(IRequest_Object& request);
std::string Response_Header(IRequest_Object& request, const char* name);
Response_Body Body(IRequest_Object& request);

} // namespace QEL::FrontEnd::FileCache::Http_Request
