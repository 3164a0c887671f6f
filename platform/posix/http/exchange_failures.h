#pragma once

#include "platform/common/Http_Request.h"
#include "platform/posix/http/Connection_Pool.h"

namespace QEL::FrontEnd::Platform {

/// What an exchange waits for.
enum class Exchange_Step { Name, Connection, Handshake, Request, Headers, Body };

/// Whether a TLS connection that begins or ends now is the one with an HTTPS proxy, not the server's behind it.
bool Is_With_Proxy(std::string_view proxy, const Connection& connection);

/// A failure with the text for its number.
/// @param detail what is known besides, such as ": Connection refused".
Http_Failure Exchange_Failure(const Http_Url& url, std::uint32_t error, std::string_view detail);

/// The failure with which libcurl ended an exchange at a step.
/// @param message what libcurl wrote about it.
Http_Failure Exchange_Failure(const Http_Url& url, const Connection& connection, Exchange_Step step, CURLcode result,
                              std::string_view message);

/// The failure of a server whose certificates nobody can vouch for.
/// @param fault of the authorities that are configured.
Http_Failure No_Authority(const Http_Url& url, const std::string& fault);

/// The failure of a request whose proxy's variable is not valid.
Http_Failure No_Proxy(const Http_Url& url, std::uint32_t error);

/// What a failure at a step says of the server, or of the proxy.
Attempt Failed_Attempt(const Connection& connection, Exchange_Step step, std::uint32_t error, bool has_proxy);

} // namespace QEL::FrontEnd::Platform
