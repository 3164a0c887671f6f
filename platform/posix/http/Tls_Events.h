#pragma once

#include <openssl/ssl.h>

namespace QEL::FrontEnd::Platform {

/// Watches connections of the context for the server's close_notify (RFC 8446, 6.1), which libcurl 7.88 confuses
/// with a connection that somebody has cut.
/// @param is_closed set to true then. Has to live as long as the context's connections.
void Watch_Close_Notify(SSL_CTX* context, bool& is_closed);

/// Watches connections of the context for the end of the handshake, which libcurl does not report of a proxy's.
/// @param is_under_way true from now until then. Lives as long as the other.
void Watch_Handshake(SSL_CTX* context, bool& is_under_way);

/// Makes connections of the context ask the server for its certificate's status, signed by the
/// certificate's authority (OCSP stapling, RFC 6066), and end the handshake when that says "revoked".
///
/// A server that sends no status, or one that is outdated or not signed by the authority, is taken as
/// one without revoked certificate: nobody else is asked, so that a request talks to its server alone.
/// @param is_revoked set to true on such an end. Has to live as long as the context's connections.
void Refuse_Revoked_Certificates(SSL_CTX* context, bool& is_revoked);

} // namespace QEL::FrontEnd::Platform
