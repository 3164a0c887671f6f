#include "tools/trace_reader/messages.h"

#include "util/Error_Meaning.h"
#include "util/Http_Status.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <type_traits>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

constexpr Product_Message product_messages[] = {
#include <product_messages.inc>
};

/// Notes one thing that a message says of its call: that it was written, how often, or one of its arguments.
template <auto Member, std::size_t Argument = 0>
void Notes(Call_Facts& facts, const Arguments& arguments) {
    auto& fact = facts.*Member;
    if constexpr (std::is_same_v<decltype(fact), bool&>) {
        fact = true;
    } else if constexpr (std::is_same_v<decltype(fact), std::string_view&>) {
        fact = arguments[Argument];
    } else {
        ++fact;
    }
}

/// What a message of the product means. It is named by its beginning: a message that the product has no more, and a
/// beginning of several, do not compile.
struct Meaning {
    consteval Meaning(std::string_view beginning, Weight how_much, std::string_view text,
                      void (*take_facts)(Call_Facts&, const Arguments&) = nullptr)
        : weight(how_much), cause(text), take(take_facts) {
        const auto begins_so = [=](const Product_Message& each) { return each.format.starts_with(beginning); };
        if (std::count_if(std::begin(product_messages), std::end(product_messages), begins_so) != 1) {
            throw "not the beginning of one message of the product";
        }
        message = std::find_if(std::begin(product_messages), std::end(product_messages), begins_so);
    }

    const Product_Message* message = nullptr;
    Weight weight;
    std::string_view cause; ///< for people, with {0}, {1} for the arguments
    void (*take)(Call_Facts& facts, const Arguments& arguments);
};

using enum Weight;
using Facts = Call_Facts;

constexpr std::string_view internal_state = "an internal error: the cache met a state that should be impossible";
constexpr std::string_view damaged_metadata = "the metadata file is damaged: its entries are forgotten";
constexpr std::string_view end_of_second_attempt = "the second attempt {0:success}";
constexpr std::string_view damaged_body = "the HTTP request object returned no usable body";

constexpr Meaning meanings[] = {
    // Requests
    {"Previously cached local file", Primary, "the local file '{0}' does not exist"},
    {"Local file URL is not expected", Primary, internal_state},
    {"Cache directory has not been configured", Primary, "the host set no cache directory, or one that does not exist"},
    {"URL '%s' not found in cache", Primary, internal_state},
    {"Neither local, nor Inet", Primary, internal_state},
    {"Error deleting obsolete", Secondary, "the replaced copy '{0}' could not be deleted"},
    {"Unsupported file URL", Primary,
     "'{0}' is not a usable file address: after \"file:\", two or three slashes are needed"},
    {"Empty Cached file Name", Secondary, "no name could be made for the copy"},
    {"Cached file unexpectedly not found", Primary, internal_state},
    {"Cached file is unnamed", Primary, internal_state},
    {"url_or_path = ", None, "", Notes<&Facts::normalised>},
    {"URL is local", None, "", Notes<&Facts::is_local>},
    {"File share URL detected", None, "", Notes<&Facts::is_share>},
    {"Remote file '%s' not found", None, "", Notes<&Facts::was_unknown>},
    {"Remote file '%s' is expired", None, "", Notes<&Facts::is_expired>},
    {"Error(code=%d) in determine", None, "", Notes<&Facts::check_failed>},
    {"Cached file '%s' for URL", None, "", Notes<&Facts::copy_used>},
    {"Cached file for '%s' does not exist", None, "", Notes<&Facts::copy_was_missing>},

    // Web servers
    {"HTTP %s request failed", Primary, "{1:who} responded to the {0:step} with status {1:status}"},
    {"COM exception", Primary, "{0:description} (error {1})"},
    {"%s HTTP request failed", Primary, "the address cannot be opened"},
    {"Sending of %s", Primary, "the request could not be sent"},
    {"Create instance failed", Primary, "there is no HTTP request object: has the calling thread initialised COM?"},
    {"Downloading from URL", Secondary, "the download failed"},
    {"HEAD request from URL", Secondary, "the server could not be asked"},
    {"Last-Modified header is empty", Secondary, "the server does not say when the file was changed",
     Notes<&Facts::has_no_date>},
    {"Cache entry needs updating", None, "",
     [](Facts& facts, const Arguments& a) {
         facts.new_date = a[1];
         facts.old_entry = a[2];
     }},
    {"Closed file", None, "", Notes<&Facts::copy_written>},
    {"Wrong variant type", Primary, damaged_body},
    {"Wrong dimensions", Primary, damaged_body},
    {"Cannot get lbound", Primary, damaged_body},
    {"Cannot access safe array", Primary, damaged_body},
    {"Unexpected empty cache file name", Primary, "no name could be made for the copy"},
    {"Unexpectedly checking", Primary, internal_state},
    {"Could not find cached entry", Primary, internal_state},
    {"Cached file is unexpectedly unnamed", Primary, internal_state},

    // The second client, which decides on certificates
    {"CertErrorHandlingMode: 'Default'", None, "the second attempt accepts no certificate error"},
    {"CertErrorHandlingMode: 'WhiteListMode'", None,
     "the second attempt accepts certificate errors of addresses on the white list"},
    {"CertErrorHandlingMode: 'IgnoreAllErrorsMode'", None, "the second attempt accepts every certificate error"},
    {"URL was found in while list", None, "the address is on the white list"},
    {"Downloading with ignoring all", None, "certificate errors are ignored"},
    {"URL not found in while-list", Secondary, "the address is not on the white list"},
    {"Download_Inet_URL_By_WinInet: ok: ", Secondary, end_of_second_attempt},
    {"HTTP request failed with status", Secondary, "the second attempt ended with {0:status}"},

    // Shares
    {"Copy file failed", Primary, "the file could not be copied from the share (error {2:error})"},
    {"Description: ", Primary, "{0}"},
    {"Copy file succeeded but", Primary,
     "the copy from the share vanished: look for a virus scanner (error {2:error})"},
    {"Trying to download a file share URL", Secondary, "the file on the share could not be examined"},
    {"File share URL cannot be stat-ed", Secondary, "the file on the share could not be examined"},
    {"Trying to download a file share that", Primary, internal_state},
    {"Checking for expired", Primary, internal_state},
    {"File share '%s' modification time", Secondary, internal_state},
    {"Cached file share '%s'", Secondary, internal_state},
    {"Copied file", None, "", Notes<&Facts::copy_written, 1>},

    // The cache directory
    {"Cache directory does not exist", Primary, "the cache directory '{0}' does not exist any more"},
    {"Trying to set the cache directory", Primary, "the host named an empty cache directory"},
    {"Setting cache directory to non existing", Primary, "the directory '{0}' does not exist"},
    {"Setting cache directory to '%s'", None, "", Notes<&Facts::normalised>},
    {"Cache directory is already", None, "",
     [](Facts& facts, const Arguments& a) {
         facts.normalised = a[0];
         facts.same_directory = true;
     }},
    {"Cache directory has not been set", Secondary, internal_state},
    {"Trying to purge a cache directory", Primary, "no cache directory is set"},
    {"Delete_File failed", Secondary, "'{0}' could not be deleted"},
    {"File could not be deleted", Primary, "'{1}' could not be deleted"},
    {"Entry could not be removed", Secondary, "the entry of '{0}' could not be removed"},
    {"Empty cached file names", Secondary, internal_state},
    {"Performance notification", Secondary, "the cache directory lies on a remote drive"},

    // The metadata file
    {"Cache metadata file '%s' error: Header", Primary, damaged_metadata},
    {"Cache metadata file '%s' error: Version string", Primary, damaged_metadata},
    {"Cache metadata file '%s' error: Version is invalid", Primary, damaged_metadata},
    {"Cache metadata file '%s' error: Version is wrong", Primary,
     "the metadata file is of version {1}, which this cache does not know: its entries are forgotten"},
    {"Cache metadata file '%s' error: Entries string", Primary, damaged_metadata},
    {"Cache metadata file '%s' error: Entries number", Primary, damaged_metadata},
    {"Metadata file: '%s', last_checked_remotely", Primary, damaged_metadata},
    {"Empty URL encountered", Secondary, "the metadata file ends too early: later entries are forgotten"},
    {"Cached file does not exist. Entry ignored", Secondary, "the copy of '{1}' is missing: its entry is forgotten",
     Notes<&Facts::entries_ignored>},
    {"Adding to the cache", None, "", Notes<&Facts::entries_read>},

    // Names of copies
    {"MIME Magic is not initialized", Secondary, internal_state},
    {"Unexpected file extension string", Secondary, internal_state},
    {"Failed to open file", Secondary, "'{0}' could not be opened to find out its type"},
};

/// Matches a text against a format; takes what stands for the arguments.
bool Match(std::string_view format, std::string_view text, Arguments& arguments) {
    std::size_t count = 0;
    for (auto wildcard = format.find('%'); wildcard != std::string_view::npos; wildcard = format.find('%')) {
        if (!text.starts_with(format.substr(0, wildcard))) {
            return false;
        }
        text.remove_prefix(wildcard);
        const bool is_number = format[wildcard + 1] == 'd';
        format.remove_prefix(wildcard + 2);
        const auto next = format.substr(0, format.find('%'));
        const bool is_last = next.size() == format.size();
        if (is_last && !text.ends_with(next)) {
            return false;
        }
        const auto end = is_number ? std::min(text.find_first_not_of("-0123456789"), text.size())
                         : is_last ? text.size() - next.size()
                                   : text.find(next);
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
    exception = exception.substr(0, Util::End_Of_Cause(exception));
    return exception.substr(0, exception.find_last_not_of(" .\r") + 1);
}

std::string Formatted(const Arguments& arguments, std::size_t number, std::string_view how) {
    const auto argument = arguments[number];
    if (how == "description") {
        const auto sentence = First_Sentence(argument);
        const auto meaning = Cause_Of_Error(arguments[number + 1]);
        return std::string(!sentence.empty() ? sentence : !meaning.empty() ? meaning : "the request failed");
    }
    if (how == "status") {
        // Beyond the range of HTTP lie the numbers of transport errors.
        const int status = Number_In(argument);
        return Numbered(argument, status < 1000 ? Util::Meaning_Of_Status(status) : Cause_Of_Error(argument)) +
               (status == Util::Proxy_Login_Required ? "; if one is configured, 'qelfilecache explain' names it" : "");
    }
    if (how == "who") {
        return Number_In(argument) == Util::Proxy_Login_Required ? "a proxy" : "the server";
    }
    if (how == "error") {
        return Numbered(argument, Cause_Of_Error(argument));
    }
    if (how == "step") {
        return argument == "HEAD" ? "check" : "download";
    }
    if (how == "success") {
        return argument == "1" ? "succeeded" : "failed";
    }
    return std::string(argument);
}

} // namespace

std::span<const Product_Message> Product_Messages() {
    return product_messages;
}

Recognised_Message Recognise(std::string_view text) {
    Recognised_Message recognised;
    for (const Product_Message& message : product_messages) {
        if (Match(message.format, text, recognised.arguments)) {
            recognised.message = &message;
            for (const Meaning& meaning : meanings) {
                if (meaning.message == &message) {
                    recognised.cause = meaning.cause;
                    recognised.weight = meaning.weight;
                    recognised.take = meaning.take;
                }
            }
            return recognised;
        }
    }
    // Behind a message there may be pieces of another thread's.
    const auto line_end = text.find('\n');
    return line_end == std::string_view::npos ? Recognised_Message() : Recognise(text.substr(0, line_end));
}

Severity Recognised_Message::Meant_Severity() const {
    if (message == nullptr || message->severity == Severity::Data) {
        return Severity::Data;
    }
    const bool ended_well = cause == end_of_second_attempt && arguments[0] == "1";
    return ended_well || weight == None ? Severity::Note : message->severity;
}

std::string Recognised_Message::Cause() const {
    std::string text;
    std::string_view rest = cause;
    for (auto brace = rest.find('{'); brace != std::string_view::npos; brace = rest.find('{')) {
        text += rest.substr(0, brace);
        const auto end = rest.find('}', brace);
        const auto colon = rest.substr(0, end).find(':', brace);
        const auto how = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1, end - colon - 1);
        text += Formatted(arguments, static_cast<std::size_t>(rest[brace + 1] - '0'), how);
        rest.remove_prefix(end + 1);
    }
    return text.append(rest);
}

std::string Meaning_Of(const Record& record) {
    return record.kind == Record_Kind::Message ? Recognise(record.text).Cause() : std::string();
}

std::string_view Between(std::string_view text, std::string_view before, std::string_view after) {
    const auto start = text.find(before);
    if (start == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(start + before.size());
    const auto end = text.rfind(after);
    return end == std::string_view::npos ? std::string_view() : text.substr(0, end);
}

} // namespace QEL::FrontEnd::Trace_Reading
