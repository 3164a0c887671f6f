#pragma once

#include <string>

#include "platform/common/Http_Request.h"

namespace QEL::FrontEnd::Platform {

/// The certificate authorities that are trusted: those of the system or, where SSL_CERT_FILE or SSL_CERT_DIR is set and
/// not empty, only what they name.
struct Authorities {
    /// As the environment has them at this moment.
    static Authorities Configured();

    bool Are_The_Systems() const { return file.empty() && directories.empty(); }

    /// Which variable names nothing that can be used, and why; empty when all is well.
    std::string Fault() const;

    std::string file;        ///< of SSL_CERT_FILE
    std::string directories; ///< of SSL_CERT_DIR, separated by colons
};

} // namespace QEL::FrontEnd::Platform
