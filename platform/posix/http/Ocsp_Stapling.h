#pragma once

#include <openssl/ssl.h>

namespace QEL::FrontEnd::Platform {

/// Makes connections of the context ask the server for its certificate's status, signed by the
/// certificate's authority (OCSP stapling, RFC 6066), and end the handshake when that says "revoked".
///
/// A server that sends no status, or one that is outdated or not signed by the authority, is taken as
/// one without revoked certificate: nobody else is asked, so that a request talks to its server alone.
/// @param is_revoked set to true on such an end. Has to live as long as the context's connections.
void Refuse_Revoked_Certificates(SSL_CTX* context, bool& is_revoked);

} // namespace QEL::FrontEnd::Platform
