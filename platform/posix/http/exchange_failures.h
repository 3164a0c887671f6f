#pragma once

#include "platform/common/Http_Request.h"
#include "platform/posix/http/Connection_Pool.h"

namespace QEL::FrontEnd::Platform {

/// What an exchange waits for.
enum class Exchange_Step { Name, Connection, Handshake, Request, Headers, Body };

/// A failure with its text, in which {server} and {host} stand for the server, {detail} for what only the caller knows.
Http_Failure Exchange_Failure(const Http_Url& url, std::uint32_t error, std::string_view text,
                              std::string_view detail = {});

/// The failure with which libcurl ended an exchange at a step.
/// @param message what libcurl wrote about it.
Http_Failure Exchange_Failure(const Http_Url& url, const Connection& connection, Exchange_Step step, CURLcode result,
                              std::string_view message);

} // namespace QEL::FrontEnd::Platform
