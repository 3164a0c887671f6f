#include "tools/trace_reader/message_catalogue.h"

#include "util/Error_Meaning.h"
#include "util/Http_Status.h"

#include <charconv>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

using enum Severity;
using enum Weight;

constexpr std::string_view internal_state = "the cache met a state that was held impossible";
constexpr std::string_view damaged_metadata = "the metadata file is damaged: its entries are forgotten";
constexpr std::string_view damaged_body = "the HTTP request object handed out no usable body";

constexpr Known_Message messages[] = {
    // Requests
    {"Previously cached local file does not exist '%s'.", Error, Final, "the local file '{0}' does not exist"},
    {"Local file URL is not expected at this point: '%s'.", Error, Final, internal_state},
    {"Cache directory has not been configured.", Error, Final,
     "the host set no cache directory, or one that does not exist"},
    {"URL '%s' not found in cache.", Error, Final, internal_state},
    {"Neither local, nor Inet, nor File share. Unexpected at this point. '%s'.", Error, Final, internal_state},
    {"Error deleting obsolete cached file: '%s', delete_ok=%s, still_exists=%s.", Error, Secondary,
     "the replaced copy '{0}' could not be deleted"},
    {"Unsupported file URL format unexpected at this time: '%s'.", Error, Final,
     "'{0}' is no usable file address: behind \"file:\", two or three slashes are needed"},
    {"Empty Cached file Name for URL '%s'.", Error, Secondary, "no name could be made for the copy"},
    {"Cached file unexpectedly not found at this point: '%s'.", Error, Final, internal_state},
    {"Cached file is unnamed for URL '%s'.", Error, Final, internal_state},

    // Web servers
    {"HTTP GET request failed with status %d. On HTTP error we cannot download the file.", Error, Primary,
     "the server answered the download with status {0:status}"},
    {"HTTP HEAD request failed with status %d. try to download/read the file directly, therefore expired = true.",
     Error, Primary, "the server answered the check with status {0:status}"},
    {"COM exception: \n %s \nWin32 error code: %d", Error, Primary, "{0:description} (error {1})"},
    {"GET HTTP request failed. HR=%d, LE=%d.", Error, Primary, "the address cannot be opened"},
    {"HEAD HTTP request failed. HR=%d, LE=%d.", Error, Primary, "the address cannot be opened"},
    {"Sending of GET HTTP request failed. HR=%d, LE=%d.", Error, Primary, "the request could not be sent"},
    {"Sending of HTTP HEAD request failed. HR=%d, LE=%d.", Error, Primary, "the request could not be sent"},
    {"Create instance failed for HTTP request object. HR=%d, LE=%d.", Error, Primary,
     "there is no HTTP request object: has the calling thread initialised COM?"},
    {"Downloading from URL '%s' failed.", Error, Secondary, "the download failed"},
    {"HEAD request from URL '%s' failed. try to download/read the file direct.", Error, Secondary,
     "the server could not be asked"},
    {"Last-Modified header is empty.", Warning, Secondary, "the server does not tell when the file was changed"},
    {"Wrong variant type %d, expecting byte array (%d).", Error, Primary, damaged_body},
    {"Wrong dimensions - %d, expecting 1.", Error, Primary, damaged_body},
    {"Cannot get lbound or ubound, ec1 = %d, ec2 = %d.", Error, Primary, damaged_body},
    {"Cannot access safe array, ec3 = %d.", Error, Primary, damaged_body},
    {"Unexpected empty cache file name for URL '%s'.", Error, Primary, "no name could be made for the copy"},
    {"Unexpectedly checking if a non-existing URL is expired '%s'.", Error, Primary, internal_state},
    {"Could not find cached entry for checked URL: '%s'", Error, Primary, internal_state},
    {"Cached file is unexpectedly unnamed: '%s'", Error, Primary, internal_state},

    // The second client, which decides on certificates
    {"CertErrorHandlingMode: 'Default'.", Error, None, ""},
    {"CertErrorHandlingMode: 'WhiteListMode'.", Error, None, ""},
    {"CertErrorHandlingMode: 'IgnoreAllErrorsMode'.", Error, None, ""},
    {"URL was found in while list. Downloading with ignoring certificate errors. URL: '%s'", Error, None, ""},
    {"Downloading with ignoring all certificate errors. URL: '%s'", Error, None, ""},
    {"URL not found in while-list. URL: %s", Error, Secondary, "the white list does not hold the address"},
    {"Download_Inet_URL_By_WinInet: ok: %d, download_error: %d, m_errHTTPFileDownLoad: %d.", Error, Secondary,
     "the second attempt failed"},
    {"HTTP request failed with status %d. On HTTP error we cannot download the file.", Error, Secondary,
     "the second attempt ended with {0:status}"},

    // Shares
    {"Copy file failed for URL: '%s', cached file: '%s' , GetLastError returned %d.", Error, Primary,
     "the file could not be copied from the share (error {2:error})"},
    {"Copy file succeeded but the target still does not exist? URL: '%s', cached file: '%s' , GetLastError returned "
     "%d.",
     Error, Primary, "the copy from the share vanished: look for a virus scanner (error {2:error})"},
    {"Trying to download a file share URL that cannot be stat-ed: '%s', error code %d.", Warning, Secondary,
     "the file on the share could not be examined"},
    {"File share URL cannot be stat-ed: '%s', error code %d. try to download the shared file directly.", Warning,
     Secondary, "the file on the share could not be examined"},
    {"Trying to download a file share that is local or Inet: '%s'.", Error, Primary, internal_state},
    {"Checking for expired an URL that is not in the cache: '%s'.", Error, Primary, internal_state},
    {"File share '%s' modification time cannot be converted. Numeric value: %d. Treating as expired.", Error, Secondary,
     internal_state},
    {"Cached file share '%s' modification time is empty. Treating as expired.", Error, Secondary, internal_state},
    {"Copied file '%s' to the cached file: '%s'.", Note, None, ""},

    // The cache directory
    {"Cache directory does not exist. It needs to be created before using the cache: '%s'.", Error, Final,
     "the cache directory '{0}' does not exist any more"},
    {"Trying to set the cache directory to absolute_dir_path='%s'.", Error, Final,
     "the host named an empty cache directory"},
    {"Setting cache directory to non existing absolute_dir_path='%s'.", Error, Final,
     "the directory '{0}' does not exist"},
    {"Cache directory has not been set, but trying to load cache metadata.", Error, Secondary, internal_state},
    {"Trying to purge a cache directory ''.", Error, Final, "no cache directory is set"},
    {"Delete_File failed for file '%s'.", Warning, Secondary, "'{0}' could not be deleted"},
    {"File could not be deleted, url = '%s', cached_file = '%s'.", Warning, Primary, "'{1}' could not be deleted"},
    {"Entry could not be removed from file cache: %s / %s", Error, Secondary,
     "the entry of '{0}' could not be removed"},
    {"Empty cached file names not expected, url = '%s'.", Error, Secondary, internal_state},
    {"Performance notification: Using remote drive for caching remote files. Performance may suffer. url='%s', "
     "cached_file='%s'.",
     Warning, Secondary, "the cache directory lies on a remote drive"},

    // The metadata file
    {"Cache metadata file '%s' error: Header magic is '%s', expected '%s'.", Warning, Final, damaged_metadata},
    {"Cache metadata file '%s' error: Version string is wrong: '%s', expected '%s'.", Warning, Final, damaged_metadata},
    {"Cache metadata file '%s' error: Version is invalid: '%s', expected a number.", Warning, Final, damaged_metadata},
    {"Cache metadata file '%s' error: Version is wrong: %d, expected %d.", Warning, Final,
     "the metadata file is of version {1}, which this cache does not know: its entries are forgotten"},
    {"Cache metadata file '%s' error: Entries string is wrong: '%s', expected '%s'.", Warning, Final, damaged_metadata},
    {"Cache metadata file '%s' error: Entries number is invalid: '%s', expected a number.", Warning, Final,
     damaged_metadata},
    {"Metadata file: '%s', last_checked_remotely is invalid for entry %d: '%s', expected a number.", Warning, Final,
     damaged_metadata},
    {"Empty URL encountered or empty cache file encountered: entry #%d, URL='%s', %s", Warning, Secondary,
     "the metadata file ends too early: later entries are forgotten"},
    {"Cached file does not exist. Entry ignored: entry #%d, URL='%s', %s", Warning, Secondary,
     "the copy of '{1}' is missing: its entry is forgotten"},

    // Names of copies
    {"MIME Magic is not initialized. Unexpected internal state.", Error, Secondary, internal_state},
    {"Unexpected file extension string. '.' not found in '%s'.", Error, Secondary, internal_state},
    {"Failed to open file '%s'.", Error, Secondary, "'{0}' could not be opened to find out its type"},
};

constexpr std::string_view summary_of_second_attempt = "Download_Inet_URL_By_WinInet: ok: ";

/// Matches a text against a printf format that has %s and %d alone; takes what stands for them.
bool Match(std::string_view format, std::string_view text, std::array<std::string_view, 4>& arguments) {
    std::size_t count = 0;
    for (auto wildcard = format.find('%'); wildcard != std::string_view::npos; wildcard = format.find('%')) {
        const auto before = format.substr(0, wildcard);
        if (!text.starts_with(before)) {
            return false;
        }
        text.remove_prefix(before.size());
        format.remove_prefix(wildcard + 2);
        const auto next = format.substr(0, format.find('%'));
        const bool is_last = next.size() == format.size();
        if (is_last && !text.ends_with(next)) {
            return false;
        }
        const auto end = is_last ? text.size() - next.size() : text.find(next);
        if (end == std::string_view::npos) {
            return false;
        }
        if (count < arguments.size()) {
            arguments[count++] = text.substr(0, end);
        }
        text.remove_prefix(end);
    }
    return text == format;
}

int Number_In(std::string_view text) {
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string_view Cause_Of_Error(std::string_view number) {
    return Util::Meaning_Of_Error(static_cast<std::uint32_t>(Number_In(number))).cause;
}

std::string Numbered(std::string_view number, std::string_view meaning) {
    std::string text(number);
    if (!meaning.empty()) {
        text.append(": ").append(meaning);
    }
    return text;
}

/// Of the text of an exception, the first sentence of its description; empty when there is none.
std::string_view First_Sentence(std::string_view exception) {
    constexpr std::string_view label = "Description: ";
    const auto start = exception.find(label);
    if (start == std::string_view::npos) {
        return {};
    }
    exception.remove_prefix(start + label.size());
    exception = exception.substr(0, exception.find('\n'));
    exception = exception.substr(0, exception.find(". "));
    return exception.substr(0, exception.find_last_not_of(" .\r") + 1);
}

std::string Formatted(const Recognised_Message& recognised, std::size_t number, std::string_view how) {
    const auto argument = recognised.arguments[number];
    if (how == "description") {
        const auto sentence = First_Sentence(argument);
        const auto meaning = Cause_Of_Error(recognised.arguments[number + 1]);
        return std::string(!sentence.empty() ? sentence : !meaning.empty() ? meaning : "the request failed");
    }
    if (how == "status") {
        // Beyond the range of HTTP lie the numbers of transport errors.
        const int status = Number_In(argument);
        return Numbered(argument, status < 1000 ? Util::Meaning_Of_Status(status) : Cause_Of_Error(argument));
    }
    if (how == "error") {
        return Numbered(argument, Cause_Of_Error(argument));
    }
    return std::string(argument);
}

} // namespace

std::span<const Known_Message> Known_Messages() {
    return messages;
}

Recognised_Message Recognise(std::string_view text) {
    Recognised_Message recognised;
    for (const Known_Message& message : messages) {
        if (Match(message.format, text, recognised.arguments)) {
            recognised.message = &message;
            return recognised;
        }
    }
    // Behind a message there may be pieces of another thread's.
    const auto line_end = text.find('\n');
    return line_end == std::string_view::npos ? Recognised_Message() : Recognise(text.substr(0, line_end));
}

Severity Meant_Severity(const Recognised_Message& recognised) {
    if (recognised.message == nullptr) {
        return Data;
    }
    const bool ended_well =
        recognised.message->format.starts_with(summary_of_second_attempt) && recognised.arguments[0] == "1";
    const bool is_information = recognised.message->weight == None || ended_well;
    return is_information ? Note : recognised.message->severity;
}

std::string Cause(const Recognised_Message& recognised) {
    std::string cause;
    if (recognised.message == nullptr) {
        return cause;
    }
    std::string_view rest = recognised.message->cause;
    for (auto brace = rest.find('{'); brace != std::string_view::npos; brace = rest.find('{')) {
        cause += rest.substr(0, brace);
        const auto end = rest.find('}', brace);
        const auto colon = rest.substr(0, end).find(':', brace);
        const auto how = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1, end - colon - 1);
        cause += Formatted(recognised, static_cast<std::size_t>(rest[brace + 1] - '0'), how);
        rest.remove_prefix(end + 1);
    }
    return cause.append(rest);
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
