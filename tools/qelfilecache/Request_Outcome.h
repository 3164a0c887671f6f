#pragma once

#include "filecache/IFileCache.h"
#include "filecache/inspection/Cache_Inspection.h"

#include <optional>
#include <string>

namespace QEL::FrontEnd::Tool {

/// What the cache returned for one request.
struct Request_Outcome {
    std::string request;
    std::string path;
    bool download_error = false;
    std::optional<int> http_error;       ///< none: the cache left it unwritten
    std::optional<int> file_share_error; ///< none: the cache left it unwritten
    std::string additional_error_info;
    FileCache::Last_Request_Info last; ///< what the server, the share or the system said
    std::optional<FileCache::Inspected_Setting>
        proxy;                  ///< of a web address that failed, see Cache_Inspection::Proxy_For
    bool is_valid = true;       ///< see Cache_Inspection::Is_Valid
    bool left_in_place = false; ///< see Cache_Inspection::Is_Left_In_Place
};

/// True of the name of a copy: a UUID in its groups of 8, 4, 4, 4 and 12, a dot, and any extension.
bool Is_Cached_Copy(const std::string& name);

/// Cause and remedy, both without full stop, in the words of a sentence; the remedy may be empty.
struct Advice {
    std::string cause;
    std::string remedy;
};

/// What an error number of a server, a share or the system says.
/// @param text what the system says of it.
/// @param proxy see Cache_Inspection::Proxy_For; it is named where it is the one that failed.
Advice Advice_On_Error(std::uint32_t error, const std::string& text,
                       const std::optional<FileCache::Inspected_Setting>& proxy = {});

/// "the server cannot be connected to (error 12029)".
std::string With_Number(std::string cause, std::uint32_t error);

/// The same of the status of the response to a request.
Advice Advice_On_Status(long status, const std::string& request,
                        const std::optional<FileCache::Inspected_Setting>& proxy);

/// Adds where a response comes from or a redirect leads, see Util::Redirection, and what that asks for.
void Add_Redirection(const std::string& request, long status, const std::string& redirection, Advice& advice);

/// The address with the "xn--" form of its server's name; empty when Host::Ascii_Name has none.
std::string With_Ascii_Name(const std::string& address);

/// What to do about a copy that is of no use.
inline constexpr const char* Clear_Remedy =
    "'qelfilecache clear REQUEST' deletes the copy, and the next request fetches the file again.";

/// Adds the address that may be meant: with the "xn--" form of a server's name whose letters beyond ASCII make it
/// invalid, or without the blanks at the end of one that the server does not have. Says of a share without a file that
/// this is the cause.
/// @param number the error, or the status of the response.
void Add_Hint_On_Address(const std::string& request, std::uint32_t number, Advice& advice);

/// "proxy 10.0.0.1:3128 (http_proxy)".
std::string Proxy_Text(const FileCache::Inspected_Setting& proxy);

/// For a request that was not served: why, and what to do next, in two lines.
std::string Explain_Failure(const Request_Outcome& outcome);

/// The same for a request that was served from the copy of an earlier download.
std::string Explain_Old_Copy(const Request_Outcome& outcome);

} // namespace QEL::FrontEnd::Tool
