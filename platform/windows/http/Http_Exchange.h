#pragma once

#include "platform/windows/handles/Internet_Handle.h"

#include <string>

namespace QEL::FrontEnd::Platform {

/// How one request is made.
struct Http_Order {
    const char* method = "GET";
    DWORD connect_timeout = 0;     ///< milliseconds
    DWORD receive_timeout = 30000; ///< milliseconds to wait for one packet
    bool ignore_certificate_errors = false;
};

/// One request and its answer over WinInet: no redirect is followed, no cache or cookie is used, and
/// no dialog is shown. Operations that fail leave the thread's last error set.
class Http_Exchange {
public:
    /// Sends the request and reads the head of the answer.
    bool Send(const std::string& url_text, const Http_Order& order);

    /// The HTTP status; 0 when there is none.
    DWORD Status() const;

    /// A header of the answer; empty when it is absent.
    std::string Header(const char* name) const;

    /// Reads the whole body. Fails when the connection ended before the announced length.
    bool Read_Body(std::string& body) const;

private:
    // In the order in which they depend on each other: the last is closed first.
    Internet_Handle m_Session;
    Internet_Handle m_Connection;
    Internet_Handle m_Request;
};

} // namespace QEL::FrontEnd::Platform
