#include "tools/qelfilecache/inspecting/explanation.h"

#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/inspecting/times.h"
#include "tools/qelfilecache/output.h"
#include "util/Ascii.h"
#include "util/Error_Meaning.h"
#include "util/Http_Status.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

namespace QEL::FrontEnd::Tool {

namespace {

using FileCache::Certificate_Handling;
using FileCache::Inspected_Entry;
using FileCache::Inspected_Setting;
using FileCache::Remote_Answer;
using Kind = FileCache::Request_Explanation::Kind;
using Second_Attempt = FileCache::Remote_Answer::Second_Attempt;

/// Where a number of the configuration comes from, such as "LandscapeCacheExpiryPeriod in FILE".
std::string Origin_Of(const Explained_Request& explained, const Inspected_Setting& setting) {
    if (setting.source.empty()) {
        return setting.name + " is not configured";
    }
    const std::string place = setting.name + " in " + Util::Printable(setting.source);
    if (setting.written == setting.value) {
        return place;
    }
    if (setting.written.empty()) {
        return place + " is empty";
    }
    const std::string holds = place + " holds " + Quoted(setting.written);
    const std::string name = ": " + setting.name + " = " + setting.written + ": ";
    for (const std::string& fault : explained.faults) {
        if (const auto found = fault.find(name); found != std::string::npos) {
            return holds + ", which is " + fault.substr(found + name.size());
        }
    }
    return holds;
}

/// The remote side's stamp as people write it: of a share file a time, of a web file what its server
/// says.
std::string Stamp_Text(Kind kind, const std::string& stamp) {
    std::uint64_t moment = 0;
    const char* const end = stamp.data() + stamp.size();
    if (kind == Kind::Share && std::from_chars(stamp.data(), end, moment).ptr == end) {
        return Local_Time_Text(moment);
    }
    return Quoted(stamp);
}

std::string Age_Of(const Explained_Request& explained) {
    const std::uint64_t last_checked = explained.request.entry->last_checked_remotely;
    if (last_checked == 0) {
        return "It is unknown when " + explained.Other_Side() + " was last asked.";
    }
    const std::string age =
        Util::Sentence(explained.Other_Side() + " was last asked at " + Local_Time_Text(last_checked));
    const std::uint64_t now = explained.request.now;
    return age.substr(0, age.size() - 1) +
           (last_checked > now ? ", which lies in the future: this machine's clock was set back. So the copy is fresh "
                                 "for longer than configured."
                               : ", " + Duration_Text(last_checked, now) + " ago.");
}

/// What makes a change on the other side show before a fresh copy is asked about.
std::string How_To_See_A_Change(const Explained_Request& explained) {
    const std::uint64_t last_checked = explained.request.entry->last_checked_remotely;
    if (last_checked > explained.request.now) {
        // The period counts from there, so that even 0 asks nobody before.
        return " Until " + Local_Time_Text(last_checked) + " a shorter period changes nothing. " + Clear_Remedy;
    }
    return explained.expiry_period.value == "0" ? ""
                                                : " A shorter period shows it sooner; 0 checks with every request.";
}

std::string Comparison_Text(const Explained_Request& explained) {
    const Remote_Answer& response = *explained.remote;
    if (response.last_modified.empty()) {
        return " It does not say when the file was last changed (no Last-Modified), so every check downloads it again.";
    }
    const std::string stamp = Stamp_Text(explained.request.kind, response.last_modified);
    const std::string text = " Its file was last changed at " + stamp;
    if (!explained.Has_Copy()) {
        return text + ".";
    }
    if (explained.Has_Copy_Without_Stamp()) {
        return text + ". The copy has no Last-Modified to compare, so it is unknown whether it is current.";
    }
    if (!response.unchanged) {
        return text + ". The copy is of another version: it is out of date.";
    }
    const bool has_no_bytes = explained.details.content_length == 0 && explained.copy_length.value_or(0) > 0 &&
                              !explained.Is_Share() && !Util::Is_Without_Whole_File(response.status);
    return text + ". " + Util::Sentence(explained.What_Is_The_Same() + "; the cache compares nothing else") +
           (has_no_bytes ? " The server says 0 bytes to HEAD, as some do for every file, so that the file may be empty."
                         : "") +
           (Differs_In_Length_Alone(explained) ? std::string(" But ") + explained.Other_Side() + "'s file has " +
                                                     std::to_string(*explained.details.content_length) +
                                                     " bytes and the copy " + std::to_string(*explained.copy_length) +
                                                     ": publish the file with a new time of change. If only this "
                                                     "machine's copy is damaged: " +
                                                     Clear_Remedy
                                               : "");
}

/// Whose response it is and what it holds, beyond its status.
std::string Details_Text(const Explained_Request& explained) {
    const auto& details = explained.details;
    std::string text;
    if (explained.remote->status != 204 && (!details.content_type.empty() || details.content_length)) {
        text = " The response has " +
               (details.content_type.empty() ? "no Content-Type" : "the Content-Type " + Quoted(details.content_type));
        text += details.content_length ? " and " + Size_Text(*details.content_length) + "." : ".";
    }
    if (!details.age.empty()) {
        text += " An HTTP cache has had it for " + Util::Printable(details.age) + " seconds (Age).";
    }
    return details.via.empty() ? text : text + " It came through " + Quoted(details.via) + " (Via).";
}

/// True when the second attempt has the status, and not a proxy that refuses the connection.
bool Is_Of_Second_Attempt(const Remote_Answer& response) {
    return response.status != 0 &&
           (response.second == Second_Attempt::Succeeded ||
            (response.second == Second_Attempt::Failed && Util::Is_Certificate_Error(response.error)));
}

std::string Second_Attempt_Text(const Remote_Answer& response, const Certificate_Handling& handling) {
    switch (response.second) {
    case Second_Attempt::Succeeded:
        return handling.errors_are_ignored ? " A second attempt ignored the certificate error and succeeded."
                                           : " A second attempt succeeded: the error was temporary.";
    case Second_Attempt::Failed:
        if (response.status == 0) {
            return " A second attempt failed too.";
        }
        return handling.errors_are_ignored ? " A second attempt ignored the certificate error."
                                           : " A second attempt got a response: the error was temporary.";
    case Second_Attempt::Not_Allowed:
        return " There is no second attempt: the configuration does not allow one.";
    case Second_Attempt::Not_Needed:
        break;
    }
    return {};
}

std::string Error_Text(Explained_Request explained) {
    Remote_Answer& response = *explained.remote;
    if (response.error == 0) {
        return Util::Printable(response.error_text);
    }
    if (response.status != 0) { // of the second attempt
        response.status = 0;
        explained.details = {};
    }
    const Advice advice = Advice_On(explained);
    return "Error " + std::to_string(response.error) + ": " + Util::Sentences(advice.cause, advice.remedy);
}

/// Through which proxy the requests go.
std::string Proxy_Step(const Explained_Request& explained) {
    if (!explained.proxy) {
        return "It is unknown whether the request goes through a proxy.";
    }
    const auto& proxy = *explained.proxy;
    if (!proxy.value.empty()) {
        return "The request goes through the " + Proxy_Text(proxy) + "." + explained.proxy_note;
    }
    if (Has_Invalid_Proxy(explained)) {
        return "The request fails: " + Why_No_New_Copy(explained) + ". Write http://server:port, or unset it.";
    }
    const bool is_exempt = Util::Equals_Ignoring_Case(proxy.source, "no_proxy");
    return "The request goes to the server directly: " +
           (proxy.source.empty() ? "no proxy is configured."
                                 : proxy.source + (is_exempt ? " exempts it." : " names no proxy for it.")) +
           explained.proxy_note;
}

/// What the cache makes of the text of the request.
std::string Kind_Step(const Explained_Request& explained) {
    const auto& request = explained.request;
    std::string step;
    switch (request.kind) {
    case Kind::Web:
        step = "It is a web address: the cache fetches the file from its server and keeps a copy.";
        if (const std::string ascii = With_Ascii_Name(request.normalised); !ascii.empty()) {
            step += " A program that never calls setlocale cannot read the server's name; all can read " +
                    Quoted(ascii) + ".";
        }
        break;
    case Kind::Share:
        step =
            "It is a file on a share or on a drive that is not a fixed disk: the cache copies it and keeps the copy. "
            "A program that asks with request kind 201 or 202 gets no copy while the file is writable.";
        break;
    case Kind::Local:
        step = "It is a local path: the cache returns the path itself and keeps no copy.";
        break;
    case Kind::Unusable:
        return "It is a file URL of a form that is not supported.";
    }
    if (request.normalised != request.request) {
        step += " The cache knows it as " + Quoted(request.normalised) + ".";
    }
    return step;
}

std::string Entry_Step(const Explained_Request& explained) {
    const auto& request = explained.request;
    if (!request.entry) {
        return Util::Sentence(!explained.list_fault.empty()
                                  ? "the metadata file of " + explained.cache + explained.list_fault
                                  : explained.cache + " has no entry for it, so there is no copy") +
               " Every character of the request matters, its case too. 'qelfilecache list' shows the entries; "
               "--cache-dir "
               "names another directory.";
    }
    const Inspected_Entry& entry = *request.entry;
    if (explained.copies_will_go) {
        return "The cache has an entry for it, with the copy " + Quoted(entry.copy) +
               ". It and the copies here are of no use with this spelling of the directory.";
    }
    if (!entry.copy_exists && !explained.copy_fault.empty()) {
        return "The cache has an entry for it, but its copy " + Quoted(entry.copy) + " " + explained.copy_fault +
               ". Next: remove it; the next request makes a new copy.";
    }
    if (!entry.copy_exists) {
        return "The cache has an entry for it, but its copy " + Quoted(entry.copy) +
               " is gone: 'qelfilecache clear' or another program has deleted it. A program that starts now ignores "
               "the "
               "entry.";
    }
    std::string step = "The cache has a copy of it: " + Quoted(entry.copy);
    if (explained.copy_size) {
        step += ", " + Size_Text(*explained.copy_size);
    }
    step += ". ";
    if (!explained.copy_fault.empty()) {
        step += "But the copy " + explained.copy_fault + ". Next: change its permissions. Or " + Clear_Remedy + " ";
    }
    return step + (entry.last_modified.empty() ? "It is unknown when its file was last changed (no Last-Modified)."
                                               : "This version of the file was last changed at " +
                                                     Stamp_Text(request.kind, entry.last_modified) + ".");
}

std::string Freshness_Step(const Explained_Request& explained) {
    const auto& request = explained.request;
    const Inspected_Entry& entry = *request.entry;
    const std::string other_side = explained.Other_Side();
    const std::string& minutes = explained.expiry_period.value;
    std::string step = Age_Of(explained) + " A copy is fresh for " + minutes +
                       (minutes == "1" ? " minute" : " minutes") + " after a check (" +
                       Origin_Of(explained, explained.expiry_period) + "). ";
    if (entry.fresh) {
        return step + "It is fresh until " + Local_Time_Text(entry.fresh_until) +
               ". Until then the cache does not ask " + other_side + ", so a change there does not show." +
               How_To_See_A_Change(explained);
    }
    return step + "It has expired: the next request asks " + other_side + ".";
}

/// What follows when the remote side is asked.
std::string Question_Step(const Explained_Request& explained) {
    const auto& request = explained.request;
    const std::string other_side = explained.Other_Side();
    const std::string fetch = explained.Is_Share() ? "copies" : "downloads";
    if (!explained.Has_Copy()) {
        return "The next request " + fetch + " the file from " + other_side +
               ". If that fails, it gets nothing: there is no copy yet.";
    }
    const char* const question = explained.Is_Share() ? "the time of its last change" : "its Last-Modified (HEAD)";
    return std::string(request.entry->fresh ? "After that, the cache asks " : "The cache asks ") + other_side +
           " for " + question +
           ". If it is the copy's, the cache serves the copy, whose age starts at 0. Otherwise, or without a "
           "response, it " +
           fetch + " the file again; if that fails, it serves the last good copy, however old that is.";
}

/// For how long a server is not asked again that cost time in vain.
std::string Retry_Step(const Explained_Request& explained) {
    const std::string& seconds = explained.server_retry.value;
    const std::string origin = " (" + Origin_Of(explained, explained.server_retry) + ")";
    if (seconds == "0") {
        return "A server that does not respond is asked again with every request, and may cost a time-out each time" +
               origin + ".";
    }
    return "After a time-out, the same program does not ask the server again for " + seconds +
           (seconds == "1" ? " second" : " seconds") + origin +
           ", or ten times as long as the time-out if that is shorter. Until then its requests to the server fail at "
           "once.";
}

std::string Certificate_Step(const Explained_Request& explained) {
    const Certificate_Handling& handling = explained.request.certificate;
    const std::string origin = " (" + Origin_Of(explained, explained.certificate_mode) + ").";
    std::string prefix = "The server's certificate must come from an authority that ";
    if (explained.authorities.empty()) {
        prefix += "this machine trusts";
    } else {
        for (const auto& authority : explained.authorities) {
            prefix += (&authority == &explained.authorities.front() ? "" : " or ") + Quoted(authority.value) + " (" +
                      authority.source + ")";
        }
        prefix += " holds; this machine's own are not trusted";
    }
    prefix += ". If it is not valid, ";
    switch (handling.mode) {
    case 0:
        return prefix + "the request fails: certificate errors are never accepted" + origin;
    case 1:
        return handling.listed
                   ? prefix + "it is accepted all the same: mode 1, and the address is on the white list" + origin
                   : prefix +
                         "the request fails: mode 1, and the address is not on the white list in exactly this "
                         "form" +
                         origin;
    case 2:
        return prefix + "it is accepted all the same, for every address: mode 2" + origin +
               " Anybody who can pose as the server can then deliver other files; use this for tests only.";
    default:
        return prefix + "the request fails: mode " + std::to_string(handling.mode) + " is not known" + origin;
    }
}

std::string Response_Step(const Explained_Request& explained) {
    const Remote_Answer& response = *explained.remote;
    const Kind kind = explained.request.kind;
    const bool https = explained.Is_Https();
    if (kind == Kind::Share) {
        return response.answered ? "Asked just now, the share has the file." + Comparison_Text(explained)
                                 : "Asked just now, the share does not deliver the file. " + Error_Text(explained);
    }
    std::string step = "Asked just now, ";
    const bool is_of_second = Is_Of_Second_Attempt(response);
    if (response.status == 0 || is_of_second) {
        constexpr std::uint32_t may_be_the_certificate = 12175;
        step += "there is no usable response. " + Error_Text(explained);
        if (https && response.error != 0 && response.error != may_be_the_certificate &&
            !Util::Is_Certificate_Error(response.error)) {
            step += " The server's certificate is not the cause.";
        }
        step += Second_Attempt_Text(response, explained.request.certificate);
    }
    const std::string comparison = response.answered && response.status != 204 ? Comparison_Text(explained) : "";
    if (response.status == 0) {
        return step + Details_Text(explained) + comparison;
    }
    const Advice advice = Advice_On(explained);
    const std::string oddity = response.answered ? Oddity_Of(explained) : std::string();
    const bool has_checked_certificate = https && response.error == 0 && response.status != Util::Proxy_Login_Required;
    return step + (is_of_second ? " " + Util::Sentence(advice.cause) : advice.cause + ".") +
           (Util::Refuses_Head_Alone(response.status)
                ? " The cache checks with HEAD; the file may be available nevertheless."
                : "") +
           (advice.remedy.empty() ? "" : " " + Util::Sentence(advice.remedy)) +
           (has_checked_certificate ? " The server's certificate is valid." : "") + Details_Text(explained) +
           (oddity.empty() || oddity == advice.cause ? "" : " But " + oddity + ".") + comparison;
}

/// What the server said one time: "Last-Modified 'Mon, 01 Jan 2024 12:00:00 GMT', 812 bytes".
std::string Said(const Explained_Request& explained) {
    const Remote_Answer& response = *explained.remote;
    if (!response.answered) {
        const std::string cause = Advice_On(explained).cause;
        return response.status != 0 || response.error == 0 ? cause : With_Number(cause, response.error);
    }
    const auto& length = explained.details.content_length;
    return (response.last_modified.empty() ? "no Last-Modified" : "Last-Modified " + Quoted(response.last_modified)) +
           (length ? ", " + Util::Counted(*length, "byte") : "");
}

/// Whether the server said the same to each connection.
std::string Repetition_Step(const Explained_Request& explained) {
    std::vector<std::pair<std::string, std::vector<std::string>>> responses; // and when or where they came
    std::string silent_addresses;
    std::size_t addresses = 0;
    for (const Asked& asked : explained.asked) {
        const std::string said = Said(As_Asked(explained, asked));
        addresses += asked.address.empty() ? 0 : 1;
        if (!asked.address.empty() && !Has_Responded(asked.answer)) {
            silent_addresses += " But no response comes from " + asked.address + ": " + said + ".";
            continue;
        }
        auto known = std::ranges::find(responses, said, [](const auto& response) { return response.first; });
        if (known == responses.end()) {
            known = responses.insert(known, {said, {}});
        }
        known->second.push_back(asked.address);
    }
    const auto times = explained.asked.size() - addresses;
    std::string step = "Asked " + Util::Counted(times, "time") + " over new connections" +
                       (addresses == 0 ? "" : " and at " + std::to_string(addresses) + " addresses of its name");
    const std::string not_asked = silent_addresses + (explained.not_asked.empty() ? "" : " " + explained.not_asked);
    if (Difference_Between_Responses(explained) == Difference::None) {
        const bool is_proxys = explained.remote->status == Util::Proxy_Login_Required && explained.proxy &&
                               !explained.proxy->value.empty();
        return step + (is_proxys ? ", the proxy" : ", the server") + " says the same each time." + not_asked;
    }
    step += ", the server does not say the same each time: ";
    for (const auto& [said, where] : responses) {
        const auto by_name = std::ranges::count(where, "");
        std::string places = by_name == 0 ? "" : Util::Counted(static_cast<std::size_t>(by_name), "time");
        for (const std::string& address : where) {
            places += (address.empty() || places.empty() ? "" : ", ") + address;
        }
        step += (said == responses.front().first ? "" : "; ") + said + " (" + places + ")";
    }
    return step + ". Behind a load balancer, publish the same file with the same time of change on every server." +
           not_asked;
}

/// True for a request that gets nothing, whatever else the remote side says.
bool Is_Hopeless(const Explained_Request& explained) {
    const auto& request = explained.request;
    return request.kind == Kind::Unusable || (!explained.is_valid && !explained.Has_Copy()) ||
           explained.left_in_place || (request.kind == Kind::Local && !request.local_file_exists);
}

/// Cause and remedy as 'get' words them.
Explanation Hopeless(Explanation explanation, const Explained_Request& explained) {
    Request_Outcome outcome;
    outcome.request = explained.request.request;
    outcome.is_valid = explained.is_valid;
    outcome.left_in_place = explained.left_in_place;
    const std::string advice = Explain_Failure(outcome);
    const auto cause_end = advice.find("\n  Next: ");
    explanation.steps.push_back("But " + advice.substr(0, cause_end) +
                                ". Next: " + advice.substr(cause_end + std::string("\n  Next: ").size()));
    explanation.verdict = "would not be served: " + advice.substr(0, cause_end) + ".";
    return explanation;
}

} // namespace

Advice Advice_On(const Explained_Request& explained) {
    const Remote_Answer& response = *explained.remote;
    const std::string& request = explained.request.request;
    const std::string redirection =
        Util::Printable(Util::Redirection(explained.request.normalised, explained.details.final_url));
    if (response.status != 0) {
        Advice advice = Advice_On_Status(response.status, request, explained.proxy);
        Add_Redirection(request, response.status, redirection, advice);
        return advice;
    }
    if (response.error == 0) {
        return {"the request could not be sent" + redirection, {}};
    }
    Advice advice = Advice_On_Error(response.error, response.error_text, explained.proxy);
    Add_Hint_On_Address(request, response.error, advice);
    if (!redirection.empty()) {
        const auto there = std::min(advice.cause.find("; the request was redirected th"), advice.cause.size());
        const std::string through = advice.cause.ends_with(" through it") ? " through it" : "";
        advice.cause.replace(there, std::string::npos, redirection + through);
    }
    const auto begin = advice.cause.find("[Shares]");
    const std::string refusal = begin == std::string::npos ? "\n" : advice.cause.substr(begin);
    for (const std::string& fault : explained.faults) {
        const std::string shown = Util::Printable(fault);
        const auto rest = shown.size() - std::min(shown.size(), refusal.size());
        if (Util::Equals_Ignoring_Case(std::string_view(shown).substr(rest), refusal)) {
            advice.cause.replace(begin, std::string::npos, shown); // the same with its place
            break;
        }
    }
    return advice;
}

std::string Oddity_Of(const Explained_Request& explained) {
    const auto in_lower_case = [](std::string text) {
        std::ranges::transform(text, text.begin(), Util::To_Ascii_Lower);
        return text;
    };
    const std::string type = in_lower_case(explained.details.content_type);
    const std::string url = in_lower_case(explained.request.normalised);
    const bool wants_xml = url.substr(0, url.find_first_of("?#")).ends_with(".xml");
    if (wants_xml && explained.remote->status != 204 &&
        (type.starts_with("text/html") || type.starts_with("application/xhtml"))) {
        return "that is a page (HTML) in place of an XML file";
    }
    if (const auto& encoding = explained.details.content_encoding;
        !encoding.empty() && !Util::Equals_Ignoring_Case(encoding, "identity")) {
        return "the file comes compressed (Content-Encoding " + Quoted(encoding) +
               "), and so would the copy be: let the server send it uncompressed";
    }
    const bool is_odd = explained.remote->status != 0 && !Util::Remedy_For_Status(explained.remote->status).empty();
    return is_odd ? Advice_On(explained).cause : std::string();
}

Explanation Explain(const Explained_Request& explained) {
    const auto& request = explained.request;
    Explanation explanation;
    explanation.expected = Outcome_Expected_Of(explained);
    if (!explained.copy_of.empty()) {
        explanation.steps.push_back(Quoted(explained.copy_of) + " is the cache's own copy of " +
                                    Quoted(request.request) + ". What follows is about that address.");
    }
    if (explained.is_stray_copy) {
        explanation.steps.push_back(
            Quoted(request.request) +
            " is named like a copy of the cache, but no entry names it: its address is unknown.");
    }
    explanation.steps.push_back(Kind_Step(explained));
    const Advice& directory = explained.directory_problem;
    if (!directory.cause.empty()) {
        explanation.steps.push_back("But " + directory.cause + ": " + directory.remedy + ".");
    }
    const std::string& refusal = explained.refusal_of_get;
    const std::string cause_of_refusal = refusal.substr(0, refusal.find('\n'));
    if (!refusal.empty()) {
        std::string advice = refusal.substr(cause_of_refusal.size());
        for (auto line = advice.find('\n'); line != std::string::npos; line = advice.find('\n')) {
            advice.erase(line, 2).insert(line, " "); // the lines are indented by two
        }
        explanation.steps.push_back("But 'qelfilecache get' refuses: " + cause_of_refusal + "." + advice);
    }
    if (Is_Hopeless(explained)) {
        return Hopeless(std::move(explanation), explained);
    }
    if (request.kind == Kind::Local) {
        const std::string& fault = explained.copy_fault;
        explanation.steps.push_back("The file exists. The cache does not check whether it is current." +
                                    (fault.empty() ? "" : " But it " + fault + ". Next: change its permissions."));
        explanation.verdict =
            "would return the path itself." + (fault.empty() ? std::string() : " But the file " + fault + ".") +
            (directory.cause.empty() && refusal.empty() ? "" : " But 'qelfilecache get' refuses to work.");
        return explanation;
    }

    explanation.steps.push_back(Entry_Step(explained));
    if (explained.Has_Copy()) {
        explanation.steps.push_back(Freshness_Step(explained));
    }
    explanation.steps.push_back(Question_Step(explained));
    if (request.kind == Kind::Web) {
        explanation.steps.push_back(Proxy_Step(explained));
    }
    explanation.steps.push_back(Retry_Step(explained));
    if (explained.Is_Https()) {
        explanation.steps.push_back(Certificate_Step(explained));
    }
    if (explained.remote) {
        explanation.steps.push_back(Response_Step(explained));
    }
    if (!explained.asked.empty()) {
        explanation.steps.push_back(Repetition_Step(explained));
    }
    const std::string why = Why_No_New_Copy(explained);
    if (!why.empty() && why != directory.cause && !Has_Invalid_Proxy(explained)) {
        explanation.steps.push_back("But " + why + ": no new copy can be written.");
    }
    explanation.verdict = (refusal.empty() ? std::string()
                                           : "would not be served by 'qelfilecache get': " + cause_of_refusal +
                                                 ". The front end's request ") +
                          Verdict_On(explained);
    if (explained.Has_Copy() && !explained.copy_fault.empty()) {
        explanation.verdict += " But the copy " + explained.copy_fault + ".";
    }
    if (const auto difference = Difference_Between_Responses(explained); difference != Difference::None) {
        explanation.verdict += std::string(" But the server does not say the same each time, so ") +
                               (difference == Difference::Of_Stamps ? "every check can become a download."
                                                                    : "requests may get different files.");
        if (explained.Has_Copy() && explained.remote->unchanged && !Differs_In_Length_Alone(explained) &&
            Is_Out_Of_Date(explained)) {
            explanation.verdict += " By another of its responses, the copy is out of date.";
        }
    }
    return explanation;
}

} // namespace QEL::FrontEnd::Tool
