#pragma once

#include "filecache/download/outcome_codes.h"
#include "util/IRequest_Object.h"

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::FileCache {

inline constexpr std::int32_t Milliseconds_Per_Second = 1000;

/// What GET and HEAD requests of the first client differ in.
struct Request_Method {
    const char* name;
    const char* operation; ///< under whose name the records are written
    const char* sending;   ///< "Sending of ... request failed."
    const char* refusal;   ///< what an HTTP error leads to
    const char* error_end; ///< behind the number of a COM error
    std::int32_t failure;  ///< the outcome code of a request that failed
    bool has_body;         ///< the response has one
    bool is_inspection;    ///< its steps are not recorded, and headers are wanted whatever the status
};

inline constexpr Request_Method Get_Method = {
    "GET", "Download_Inet_URL",  "GET HTTP", "On HTTP error we cannot download the file.",
    "",    Http_Download_Failed, true,       false};
inline constexpr Request_Method Head_Method = {
    "HEAD", "Is_Inet_URL_Expired", "HTTP HEAD", "try to download/read the file directly, therefore expired = true.",
    "\n",   Http_Check_Failed,     false,       false};
inline constexpr Request_Method Inspection_Method = {"HEAD", "Is_Inet_URL_Expired", "", "", "", Http_Ok, false, true};

/// How a request of the first client ended, and what came back.
struct Http_Response {
    enum class End {
        Abandoned, ///< the request could not be made, or its status is a transport error
        Failed,    ///< a call of the request object failed
        Refused,   ///< the status is not 2xx
        Complete
    };

    End end = End::Abandoned;
    long status = 0;           ///< of the server's response, or of a proxy's that has refused the connection; 0: none
    bool accepted = false;     ///< the status is 2xx
    std::uint32_t error = 0;   ///< Win32 number of what Abandoned or Failed the request; 0 when it has none
    std::string error_text;    ///< the request object's own
    std::string last_modified; ///< headers, empty when absent or not all were read
    std::string content_type;  ///< not of a check, as are all that follow
    Response_Body body;        ///< of GET
    // Of an inspection; empty when unknown.
    std::string content_length; ///< of the file, so none of a compressed response
    std::string content_encoding;
    std::string age;
    std::string via;
    std::string final_url; ///< after redirects
};

} // namespace QEL::FrontEnd::FileCache
