#pragma once

#include "util/Body_Publication.h"
#include "util/Non_Copyable.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Util::HttpWinInet {

/// A window that may be the parent of the client's dialogs. Null on a platform without windows.
using Window_Handle = void*;

/// Request types of SendWinInetRequest.
inline constexpr int Http_Get = 1;
inline constexpr int Http_Head = 2;

/// The second HTTP client: one synchronous request, which may be allowed to ignore certificate
/// errors. Read_CertErrorHandling_Parameters alone decides that: it ignores those of every URL in
/// IgnoreAllErrorsMode, those of a listed URL (but not of its redirects) in WhiteListMode.
/// One object serves one request on one thread.
class HttpClient : private Util::Non_Copyable {
public:
    HttpClient();
    ~HttpClient();

    /// The window for SendWinInetRequest; null where there is none.
    Window_Handle GetHWnd() const;

    /// Sets the directory of the saved body. Call it before the request.
    void SetCopyDirectory(const std::string& directory);

    /// Sends the request and reads the whole response.
    /// @param http_type 1 GET, 2 HEAD.
    /// @param timeout connect time-out in milliseconds.
    /// @return the HTTP status; without a response a WinInet error number (12001 to 12192), or the system's number of
    ///         a failure on this machine, such as 112 when the disk is full.
    unsigned long SendWinInetRequest(int http_type, const char* url, Window_Handle window, unsigned long timeout);

    /// The system's number of the failure for which there is no response; 0 when there is one.
    std::uint32_t GetError() const;

    /// Cause and remedy of that failure, one line for the user; empty when there is a response.
    const std::string& GetErrorDescription() const;

    /// A header of the response by its name (any letter case); empty when it is absent.
    std::string GetResponseHeader(const char* name) const;

    /// What it is the response for, after redirects, or the target of a redirect that is not followed.
    std::string GetFinalUrl() const;

    /// The whole body of the response, NULs included; on Linux of one with a status from 200 to 299 only. Valid as long
    /// as the object lives.
    std::string_view GetResponseBody() const;

    /// Makes the body a file; empty when the caller must write the body.
    Body_Publication GetBodyPublication() const;

    /// True for 12001 to 12192, all transport errors that the two clients document.
    static bool IsErrorInRange(std::uint32_t error_number) { return error_number >= 12001 && error_number <= 12192; }

private:
    struct Response;
    std::unique_ptr<Response> m_Response;
    std::string m_Copy_Directory;
};

} // namespace QEL::FrontEnd::Util::HttpWinInet
