#include "tools/qelfilecache/Request_Outcome.h"

#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Ascii.h"
#include "util/Control_Characters.h"
#include "util/Error_Meaning.h"
#include "util/Http_Status.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>

namespace QEL::FrontEnd::Tool {

namespace {

constexpr const char* directory_advice =
    "check that the cache directory still exists; see every step with --trace-level 4 --trace-dir DIR";
constexpr const char* check_advice =
    "run 'qelfilecache explain --check REQUEST', which shows the server's status or the error's number";
constexpr const char* next_step = "\n  Next: ";
constexpr std::uint32_t invalid_url = 12005;

/// What happened, and what to do next.
std::string Two_Lines(const std::string& cause, const std::string& remedy) {
    return cause + next_step + remedy + (remedy.ends_with('?') ? "" : ".");
}

bool Has_Drive_Letter(const std::string& request) {
    return request.size() >= 2 && std::isalpha(static_cast<unsigned char>(request[0])) != 0 && request[1] == ':';
}

/// "ftp", "HTTP" of an address that begins so; empty when there is none.
std::string Scheme(const std::string& request) {
    const auto end = request.find("://");
    if (end == std::string::npos || end < 2) {
        return {};
    }
    const std::string scheme = request.substr(0, end);
    const bool is_word = std::all_of(scheme.begin(), scheme.end(), [](char character) {
        return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '+' || character == '-' ||
               character == '.';
    });
    return is_word ? scheme : std::string();
}

std::string Explain_Web_Failure(const Request_Outcome& outcome) {
    const auto& last = outcome.last;
    if (outcome.http_error == 3) {
        return Two_Lines("the file was downloaded, but the cache found no name for its copy", directory_advice);
    }
    const bool is_refused = last.http_status != 0 && last.http_status / 100 != 2;
    if (last.system_error != 0 && !is_refused) {
        Advice advice = Advice_On_Error(last.system_error, last.text, outcome.proxy);
        Add_Hint_On_Address(outcome.request, last.system_error, advice);
        return Two_Lines(With_Number(advice.cause, last.system_error),
                         advice.remedy.empty() ? check_advice : advice.remedy);
    }
    if (is_refused) {
        Advice advice = Advice_On_Status(last.http_status, outcome.request, outcome.proxy);
        const auto begin = last.text.find("; the request was redirected to '");
        const bool is_redirected = begin != std::string::npos;
        Add_Redirection(
            outcome.request, last.http_status,
            is_redirected ? Util::Printable(last.text.substr(begin, last.text.find("'. ") + 1 - begin)) : "", advice);
        return Two_Lines(advice.cause, advice.remedy);
    }
    return Two_Lines(last.http_status != 0 ? "the file was downloaded, but its copy could not be saved"
                                           : "the download failed, and the system does not say why",
                     directory_advice);
}

/// True for "\\\\server", "\\\\server\\share" and their file URLs.
bool Names_No_File(std::string request) {
    std::ranges::replace(request, '\\', '/');
    if (request.starts_with("file:")) {
        request.erase(0, 5);
    }
    request.erase(request.find_last_not_of('/') + 1);
    return request.starts_with("//") && std::ranges::count(request, '/') < 4;
}

/// By the number of the error, the first one of those that have none here.
constexpr struct {
    const char* cause;
    const char* remedy;
} share_failures[] = {
    {"the file on the share could not be served", directory_advice},
    {"the file on the share could not be examined",
     "check the server, the share and the path, and that you may read the file"},
    {"the file could not be copied from the share",
     "check the server or drive, the share and the path, that you may read the file, and the free space in the "
     "cache directory"},
    {"the file was copied, but the cache found no name for its copy", directory_advice},
    {"the file was copied, but the copy is gone",
     "check whether another program, such as a virus scanner, removes files from the cache directory"},
};

std::string Explain_Share_Failure(const Request_Outcome& outcome) {
    const int error = *outcome.file_share_error;
    const auto& failure = share_failures[error >= 1 && error <= 4 ? error : 0];
    const std::uint32_t number = outcome.last.system_error;
    if (number == 0) {
        return Two_Lines(failure.cause, failure.remedy);
    }
    Advice advice = Advice_On_Error(number, outcome.last.text);
    Add_Hint_On_Address(outcome.request, number, advice);
    // The warning of the configuration, which comes first, has the value and its place.
    if (const auto setting = advice.cause.find("[Shares] "); setting != std::string::npos) {
        advice.cause.erase(std::min(advice.cause.find_first_of(" :", setting + 9), advice.cause.size()));
        advice.remedy += " as the warning says";
    }
    return Two_Lines(std::string(failure.cause) + ": " + With_Number(advice.cause, number),
                     advice.remedy.empty() ? failure.remedy : advice.remedy);
}

constexpr bool has_drives = std::filesystem::path::preferred_separator == '\\';

/// The share that "smb://server/share/file" means, or "\server\share\file", which is what double quotes leave of two
/// backslashes; empty for any other request.
std::string Share_Meant_By(std::string request) {
    const std::string scheme = Scheme(request);
    if (Util::Equals_Ignoring_Case(scheme, "smb") || Util::Equals_Ignoring_Case(scheme, "cifs")) {
        request.erase(0, scheme.size() + 3);
        request.erase(0, request.substr(0, request.find('/')).rfind('@') + 1);
        std::ranges::replace(request, '/', '\\');
        return "\\\\" + request;
    }
    const bool lost_a_backslash =
        !has_drives && request.starts_with('\\') && std::ranges::count(request, '\\') > 2 && request[1] != '\\';
    return lost_a_backslash ? '\\' + request : std::string();
}

/// What "https//server/x", "http:/server/x", "http:\\server\x" or a request in quotes is meant to be; empty for any
/// other.
std::string Meant_By(std::string request) {
    for (const char quote : {'"', '\''}) {
        if (request.size() > 2 && request.front() == quote && request.back() == quote) {
            return request.substr(1, request.size() - 2);
        }
    }
    const bool has_backslash = request.find('\\') != std::string::npos;
    std::ranges::replace(request, '\\', '/');
    const auto scheme_end = std::min(request.find_first_of(":/"), request.size());
    const auto server = request.find_first_not_of(":/", scheme_end);
    const std::string scheme = request.substr(0, scheme_end);
    const std::string between = server == std::string::npos ? "" : request.substr(scheme_end, server - scheme_end);
    const bool is_meant = (scheme == "http" || scheme == "https") &&
                          (between == "//" || between == ":/" || (between == "://" && has_backslash));
    return is_meant ? scheme + "://" + request.substr(server) : std::string();
}

/// What is wrong with a web address that is not valid.
std::string Fault_Of_Address(const std::string& address) {
    if (const auto slashes = address.find("//"); slashes != std::string::npos) {
        const auto begin = slashes + 2;
        std::string server = address.substr(begin, address.find_first_of("/?#", begin) - begin);
        server.erase(0, server.rfind('@') + 1);
        const auto colon = server.find(':', server.starts_with('[') ? server.find(']') : 0);
        if (server.empty() || colon == 0) {
            return "the address names no server";
        }
        const auto port = colon == std::string::npos ? std::string() : server.substr(colon + 1);
        if (!std::ranges::all_of(port, Util::Is_Ascii_Digit) || port.size() > 5 || std::atoi(port.c_str()) > 65535) {
            return "the address has an invalid port number, '" + Util::Printable(port) + "'";
        }
    }
    return "the address is not valid";
}

/// "file:/folder/file" or "file:///folder/file" where there are no drives.
std::string Explain_Local_File_Url(const std::string& request) {
    const auto path = request.find_first_not_of('/', request.find('/'));
    return Two_Lines("this form of file URL is not supported",
                     "did you mean " + Quoted("/" + request.substr(std::min(path, request.size()))) + "?");
}

/// A request whose form keeps it from being served.
std::string Explain_Refusal(const std::string& request) {
    if (Util::Holds_Control_Character(request)) {
        return Two_Lines("the request contains a control character", "remove it");
    }
    if (!has_drives && request.starts_with("file:/")) {
        return Explain_Local_File_Url(request);
    }
    if (request.starts_with("file:")) {
        return Two_Lines("this form of file URL is not supported",
                         std::string("write file://server/share/file for a share, ") +
                             (has_drives ? "file:///C:/folder/file for a drive" : "the plain path for a local file"));
    }
    if (const std::string meant = Meant_By(request); !meant.empty()) {
        return Two_Lines("the address is not valid", "did you mean " + Quoted(meant) + "?");
    }
    Advice advice{Fault_Of_Address(request),
                  "check its spelling; it begins with http:// or https:// and the name of a server, perhaps with a "
                  "port up to 65535, as in http://server:8080/path/file.xml"};
    Add_Hint_On_Address(request, invalid_url, advice);
    return Two_Lines(advice.cause, advice.remedy);
}

/// True for "server:80/x" and "www.server.example/x".
bool Names_Server_And_Path(const std::string& request) {
    const std::string server = request.substr(0, request.find('/'));
    const auto port = server.find(':');
    const bool has_port =
        port != std::string::npos && port > 1 && port + 1 < server.size() &&
        std::all_of(server.begin() + static_cast<std::ptrdiff_t>(port) + 1, server.end(), Util::Is_Ascii_Digit);
    return server.size() < request.size() && (has_port || (server.starts_with("www.") && port == std::string::npos));
}

/// Why a path that no file is at cannot be served, where the path says more than that.
std::string Fault_Of_Path(const std::string& request) {
    namespace fs = std::filesystem;
    const fs::path path = Host::To_Path(request);
    std::error_code error;
    const fs::file_type type = fs::status(path, error).type();
    std::error_code ignored;
    if (fs::is_symlink(path, ignored) && (type == fs::file_type::not_found || type == fs::file_type::none)) {
        const std::string target = Quoted(Host::To_Text(fs::read_symlink(path, ignored)));
        if (type == fs::file_type::not_found) {
            return Two_Lines("it is a link to " + target + ", which does not exist", "correct or remove the link");
        }
        if (error == std::errc::too_many_symbolic_link_levels) {
            return Two_Lines("it is a link to " + target + ", which leads back to itself",
                             "correct or remove the link");
        }
    }
    if (type == fs::file_type::none && error == std::errc::permission_denied) {
        return Two_Lines("access to the local file is denied",
                         "check that this user may enter every folder of its path");
    }
    switch (type) {
    case fs::file_type::none:
        return Two_Lines("the local file cannot be examined: " + error.message(), "check the path");
    case fs::file_type::directory:
        return Two_Lines("it is a directory", "name a file in it");
    case fs::file_type::fifo:
        return Two_Lines("it is a pipe (FIFO), not a file", "name a file");
    case fs::file_type::socket:
        return Two_Lines("it is a socket, not a file", "name a file");
    case fs::file_type::block:
    case fs::file_type::character:
        return Two_Lines("it is a device, not a file", "name a file");
    default:
        break;
    }
    return path.has_parent_path() && Is_Cached_Copy(Host::To_Text(path.filename()))
               ? Two_Lines("it is named like a copy of the cache, but there is no such file: a copy may have been "
                           "replaced or deleted",
                           "ask for its address again; 'qelfilecache list' shows the addresses")
               : std::string();
}

/// A request that the cache decided without asking anything remote.
std::string Explain_Local_Failure(const std::string& request) {
    if (Util::Trim(request, Util::Ascii_Blanks).empty()) {
        return Two_Lines("the request is empty", "name a web address, a file on a share, or a local path");
    }
    if (const std::string trimmed(Util::Trim(request, Util::Ascii_Blanks)); trimmed != request) {
        return Two_Lines("the request begins or ends with a blank", "did you mean " + Quoted(trimmed) + "?");
    }
    if (const std::string meant = Meant_By(request); !meant.empty()) {
        return Two_Lines("there is no such local file", "did you mean " + Quoted(meant) + "?");
    }
    if (const std::string share = Share_Meant_By(request); !share.empty()) {
        return Two_Lines(request.starts_with('\\') ? "there is no such local file"
                                                   : "'" + Scheme(request) + "' is not a scheme that the cache serves",
                         "did you mean " + Quoted(share) + "?" +
                             (request.starts_with('\\') ? " Write it in single quotes" : ""));
    }
    if (Names_Server_And_Path(request)) {
        return Two_Lines("there is no such local file", "did you mean " + Quoted("http://" + request) + "?");
    }
    const bool is_file_url = request.starts_with("file:");
    if (const std::string scheme = Scheme(request); !scheme.empty() && !is_file_url) {
        return Two_Lines("'" + scheme + "' is not a scheme that the cache serves; it took the request for a local path",
                         "use http:, https: or file:, in lower case");
    }
    if (request.starts_with("//")) {
        return Two_Lines("there is no such local file", "write a share with backslashes: \\\\server\\share\\file");
    }
    if (const std::string fault = is_file_url ? std::string() : Fault_Of_Path(request); !fault.empty()) {
        return fault;
    }
    if (!has_drives && request.starts_with('\\')) {
        return Two_Lines("there is no such local file",
                         "a shell removes backslashes: write '\\\\server\\share\\file' in single quotes");
    }
    if (constexpr std::string_view drive_url = "file:///";
        request.starts_with(drive_url) && !Has_Drive_Letter(request.substr(drive_url.size()))) {
        if (!has_drives) {
            return Explain_Local_File_Url(request);
        }
        return Two_Lines(
            "a drive is expected after \"file:///\", as in file:///C:/folder/file, so the URL names no file",
            "give the path without \"file://\"");
    }
    if (is_file_url) {
        return Two_Lines("the file URL names no file that exists", "check the path, or give it as a plain path");
    }
    return Two_Lines("there is no such local file", "check the path");
}

/// A sentence as a part of another one.
std::string Clause(std::string sentence) {
    sentence.erase(sentence.find_last_not_of(" .\r\n") + 1);
    if (sentence.size() > 1 && sentence[1] >= 'a' && sentence[1] <= 'z') {
        sentence[0] = Util::To_Ascii_Lower(sentence[0]);
    }
    return sentence;
}

} // namespace

bool Is_Cached_Copy(const std::string& name) {
    constexpr std::size_t uuid_length = 36;
    const auto is_hyphen = [&name](std::size_t position) { return name[position] == '-'; };
    return name.size() > uuid_length && name[uuid_length] == '.' && is_hyphen(8) && is_hyphen(13) && is_hyphen(18) &&
           is_hyphen(23);
}

std::string Proxy_Text(const FileCache::Inspected_Setting& proxy) {
    return "proxy " + Util::Printable(proxy.value) + (proxy.source.empty() ? "" : " (" + proxy.source + ")");
}

Advice Advice_On_Error(std::uint32_t error, const std::string& text,
                       const std::optional<FileCache::Inspected_Setting>& proxy) {
    const bool has_proxy = proxy && !proxy->value.empty();
    const auto meaning = Util::Meaning_Of_Error(error);
    std::string said = Util::Printable(std::string(Util::Trim_End(text, " \r\n")));
    constexpr std::uint32_t name_not_resolved = 12007;
    constexpr std::uint32_t cannot_connect = 12029;
    constexpr std::uint32_t timed_out = 12002;
    constexpr std::uint32_t ended = 12030;
    constexpr std::uint32_t not_http = 12152;
    constexpr std::uint32_t tls_failed = 12157;
    const bool is_proxys = error == name_not_resolved || error == cannot_connect; // it makes all further connections
    // Where a sentence follows the first one, the text has a remedy: it is this project's own, as on Linux.
    auto cause_end = Util::End_Of_Cause(said);
    if (cause_end == std::string::npos && has_proxy &&
        (is_proxys || error == timed_out || error == ended || error == not_http || error == tls_failed)) {
        said = Util::Sentences_On_Error(error,
                                        "proxy " + proxy->value + (is_proxys ? "" : ", or the server behind it,"), {});
        cause_end = Util::End_Of_Cause(said);
    }
    if (cause_end == std::string::npos) {
        std::string cause(meaning.cause.empty() ? "the request failed" : meaning.cause);
        const std::string clause = Clause(said);
        if (clause.starts_with(cause)) { // it may add a detail
            cause = clause;
        } else if (!clause.empty()) {
            cause += "; the system says: " + clause;
        }
        constexpr std::uint32_t file_too_large = 223;
        return {cause,
                error == file_too_large ? "compare its size with LandscapeLargestFile" : std::string(meaning.remedy)};
    }
    Advice advice{Clause(said.substr(0, cause_end)), Clause(said.substr(cause_end + 2))};
    const std::string name = has_proxy ? "proxy " + proxy->value : std::string();
    if (const auto named = advice.cause.find(name); has_proxy && named != std::string::npos) {
        advice.cause.replace(named, name.size(), Proxy_Text(*proxy));
    }
    return advice;
}

std::string With_Number(std::string cause, std::uint32_t error) {
    const std::string number = "error " + std::to_string(error) + ")";
    if (cause.ends_with(')')) {
        cause.back() = ';';
        return cause + " " + number;
    }
    return cause + " (" + number;
}

std::string With_Ascii_Name(const std::string& address) {
    const auto begin = address.find("://");
    if (begin == std::string::npos) {
        return {};
    }
    const auto name = begin + 3;
    const auto end = std::min(address.find_first_of(":/?#", name), address.size());
    const std::string ascii = Host::Ascii_Name(address.substr(name, end - name));
    return ascii.empty() ? ascii : address.substr(0, name) + ascii + address.substr(end);
}

void Add_Hint_On_Address(const std::string& request, std::uint32_t number, Advice& advice) {
    std::string meant;
    if (number == 404 && request.ends_with(' ')) {
        meant = Util::Trim_End(request, " ");
    } else if (number == invalid_url) {
        meant = With_Ascii_Name(request);
    } else if (Names_No_File(request)) {
        advice = {"the request names no file on a share", "write \\\\server\\share\\file"};
    } else if (!has_drives && Has_Drive_Letter(request)) {
        advice = {"a path with a drive letter names a file on Windows only",
                  "give the path that the file has on this machine"};
    }
    if (!meant.empty()) {
        advice.remedy = "did you mean " + Quoted(meant) + "?";
    }
}

void Add_Redirection(const std::string& request, long status, const std::string& redirection, Advice& advice) {
    advice.cause += redirection;
    if (!Util::Is_Redirect(status)) {
        return;
    }
    const std::string target = redirection.substr(std::min(redirection.find('\'') + 1, redirection.size()));
    if (target.starts_with("http:") && request.starts_with("https:")) {
        advice.cause += ", from https to http";
        advice.remedy = "let the server redirect to an address with https:";
    } else if (!redirection.empty() && !target.starts_with("http")) {
        advice.remedy = "let the server redirect to an address with http: or https:";
    } else if (redirection.empty() && !has_drives) { // Windows does not report where it leads
        advice.cause += ", without a Location";
        advice.remedy = "correct the server's redirect";
    }
}

Advice Advice_On_Status(long status, const std::string& request,
                        const std::optional<FileCache::Inspected_Setting>& proxy) {
    std::string subject = "server";
    if (proxy && !proxy->value.empty()) {
        if (status == Util::Proxy_Login_Required) {
            subject = Proxy_Text(*proxy);
        } else if (request.starts_with("http:") && (status == 403 || status >= 500)) { // what proxies say themselves
            subject = Proxy_Text(*proxy) + ", or the server behind it,";
        }
    }
    Advice advice{Util::Cause_Of_Status(status, subject), std::string(Util::Remedy_For_Status(status))};
    if (status == 403 && subject != "server") {
        advice.remedy += ", or have the proxy allow this server";
    } else if (status == Util::Proxy_Login_Required && proxy && proxy->value.empty()) {
        advice = {"the server asks for a proxy's login, although the request goes through none (status 407)",
                  "check the address, and the server"};
    }
    Add_Hint_On_Address(request, static_cast<std::uint32_t>(status), advice);
    return advice;
}

std::string Explain_Failure(const Request_Outcome& outcome) {
    if (!outcome.is_valid) {
        return Explain_Refusal(outcome.request);
    }
    if (outcome.left_in_place) {
        return Two_Lines("the file is writable on its share, so a request of kind 201 or 202 gets no copy",
                         "open it from the share, or use another --request-kind");
    }
    if (outcome.http_error) {
        return Explain_Web_Failure(outcome);
    }
    if (outcome.file_share_error) {
        return Explain_Share_Failure(outcome);
    }
    return Explain_Local_Failure(outcome.request);
}

std::string Explain_Old_Copy(const Request_Outcome& outcome) {
    std::string advice = Explain_Failure(outcome);
    return advice.insert(advice.find(next_step), "; this is the last good copy");
}

} // namespace QEL::FrontEnd::Tool
