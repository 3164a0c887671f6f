#include "tools/qelfilecache/Request_Outcome.h"

#include "tools/qelfilecache/host.h"
#include "util/Ascii.h"
#include "util/Control_Characters.h"
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
    "ask 'qelfilecache explain --check REQUEST', which shows the server's status or the error's number";
constexpr const char* next_step = "\n  Next: ";

/// Two lines: what happened, and what to do next.
std::string Advice(const std::string& cause, const std::string& remedy) {
    return cause + next_step + remedy + ".";
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

/// The words for a transport error of this very request. The cache keeps the text of the last one,
/// which may have been another request's.
std::string Transport_Error(const Request_Outcome& outcome) {
    std::string file = outcome.request;
    if (outcome.file_share_error && file.starts_with("file:")) { // the cache knows it by its path
        file.erase(0, std::string_view("file:").size());
        std::ranges::replace(file, '/', '\\');
    }
    const std::string& text = outcome.additional_error_info;
    constexpr std::string_view label = "Description: ";
    const auto label_start = text.find(label);
    if (label_start == std::string::npos || text.find("File: " + file + "\n") == std::string::npos) {
        return {};
    }
    std::string description = text.substr(label_start + label.size());
    description.erase(description.find_last_not_of(" \r\n.") + 1);
    return Util::Printable(description);
}

/// The first sentence of a description is the cause; what follows says what to do.
std::string Explain_Transport_Error(const std::string& description) {
    const auto cause_end = description.find(". ");
    if (cause_end == std::string::npos) {
        return Advice(description, std::string("check the server's name and port, the network, and for https the "
                                               "certificate; ") +
                                       check_advice);
    }
    return Advice(description.substr(0, cause_end), description.substr(cause_end + 2));
}

std::string Explain_Web_Failure(const Request_Outcome& outcome) {
    if (outcome.http_error == 3) {
        return Advice("the file was downloaded, but the cache found no name for its copy", directory_advice);
    }
    if (const std::string transport_error = Transport_Error(outcome); !transport_error.empty()) {
        return Explain_Transport_Error(transport_error);
    }
    // The cache keeps no status; where the connection failed, it mostly keeps a text.
    return Advice("the download failed: the server responded with an error status, or the copy could not be written",
                  std::string(check_advice) +
                      "; if that finds no fault, see every step with --trace-level 4 --trace-dir DIR");
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
    if (const std::string unasked = Transport_Error(outcome); error == 2 && !unasked.empty()) {
        return Explain_Transport_Error(unasked);
    }
    const auto& failure = share_failures[error >= 1 && error <= 4 ? error : 0];
    return Advice(failure.cause, failure.remedy);
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

/// A request whose form keeps it from being served.
std::string Explain_Refusal(const std::string& request) {
    if (Util::Holds_Control_Character(request)) {
        return Advice("the request holds a control character that is never served", "remove it");
    }
    if (request.starts_with("file:")) {
        return Advice("this form of file URL is not supported",
                      "write file://server/share/file for a share, file:///C:/folder/file for a drive");
    }
    return Advice(Fault_Of_Address(request),
                  "check its spelling; it begins with http:// or https:// and the name of a server, perhaps with a "
                  "port up to 65535, as in http://server:8080/path/file.xml");
}

/// A request that the cache decided without asking anything remote.
std::string Explain_Local_Failure(const std::string& request) {
    if (request.empty()) {
        return Advice("the request is empty", "name a web address, a file on a share, or a local path");
    }
    const bool is_file_url = request.starts_with("file:");
    if (const std::string scheme = Scheme(request); !scheme.empty() && !is_file_url) {
        return Advice("'" + scheme + "' is not a scheme that the cache serves; it took the request for a local path",
                      "use http:, https: or file:, in lower case");
    }
    if (request.starts_with("//")) {
        return Advice("there is no such local file", "write a share with backslashes: \\\\server\\share\\file");
    }
    std::error_code ignored;
    if (!is_file_url && std::filesystem::is_directory(Host::To_Path(request), ignored)) {
        return Advice("it is a directory", "name a file in it");
    }
    if (constexpr std::string_view drive_url = "file:///";
        request.starts_with(drive_url) && !Has_Drive_Letter(request.substr(drive_url.size()))) {
        return Advice("a drive is expected behind \"file:///\", as in file:///C:/folder/file, so the URL names no file",
                      "give the path without \"file://\"");
    }
    if (is_file_url) {
        return Advice("the file URL names no file that exists", "check the path, or give it as a plain path");
    }
    return Advice("there is no such local file", "check the path");
}

} // namespace

std::string Explain_Failure(const Request_Outcome& outcome) {
    if (!outcome.is_valid) {
        return Explain_Refusal(outcome.request);
    }
    if (outcome.left_in_place) {
        return Advice("the file is writable on its share, and requests of kind 201 and 202 are not cached then",
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
    return advice.insert(advice.find(next_step), "; this is the copy of an earlier download");
}

} // namespace QEL::FrontEnd::Tool
