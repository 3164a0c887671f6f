#include "tools/qelfilecache/inspecting/explanation.h"

#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/qelfilecache/error_meanings.h"
#include "tools/qelfilecache/inspecting/remote_errors.h"
#include "tools/qelfilecache/inspecting/times.h"
#include "tools/qelfilecache/output.h"

#include <charconv>

namespace QEL::FrontEnd::Tool {

namespace {

using FileCache::Certificate_Handling;
using FileCache::Inspected_Entry;
using FileCache::Inspected_Setting;
using FileCache::Remote_Answer;
using Kind = FileCache::Request_Explanation::Kind;
using Second_Attempt = FileCache::Remote_Answer::Second_Attempt;

std::string Quoted(const std::string& text) {
    return "'" + Printable(text) + "'";
}

/// The other side of a request, at the beginning of a sentence and within one.
const char* The_Other_Side(Kind kind) {
    return kind == Kind::Share ? "the share" : "the server";
}

/// What follows a check that does not find the copy current.
const char* A_Download(Kind kind) {
    return kind == Kind::Share ? "copying the file" : "a download";
}

/// Where a number of the configuration comes from, such as "LandscapeCacheExpiryPeriod in FILE".
std::string Origin_Of(const Inspected_Setting& setting) {
    if (setting.source.empty()) {
        return setting.name + " is not configured";
    }
    const std::string place = setting.name + " in " + Printable(setting.source);
    if (setting.written == setting.value) {
        return place;
    }
    const bool is_no_number = setting.value == "0";
    return place + " holds " + Quoted(setting.written) + (is_no_number ? ", which is no such number" : "");
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

bool Has_Copy(const Explained_Request& explained) {
    return explained.request.entry && explained.request.entry->copy_exists;
}

std::string Age_Of(const Inspected_Entry& entry, std::uint64_t now) {
    if (entry.last_checked_remotely == 0) {
        return "It is not known when it was last asked.";
    }
    const std::string moment = Local_Time_Text(entry.last_checked_remotely);
    if (entry.last_checked_remotely > now) {
        return "It was last asked at " + moment +
               ", which lies in the future: the clock of this machine has been set back since, and the copy counts as "
               "fresh for longer than configured.";
    }
    return "It was last asked at " + moment + ", " + Duration_Text(entry.last_checked_remotely, now) + " ago.";
}

/// What the cache makes of the text of the request.
std::string Kind_Step(const FileCache::Request_Explanation& request) {
    std::string step;
    switch (request.kind) {
    case Kind::Web:
        step = "It is a web address: the cache fetches the file from its server and keeps a copy.";
        break;
    case Kind::Share:
        step = "It names a file on a share or on a drive that is no fixed disk: the cache copies it and keeps the "
               "copy. A program that asks with request kind 201 or 202 gets nothing while the file can be written to.";
        break;
    case Kind::Local:
        step = "It is a local path: the cache answers with the path itself and keeps no copy.";
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
        return "The cache has no entry for it, so there is no copy. Letter case and every character of the request "
               "count; 'qelfilecache list' shows what there is.";
    }
    const Inspected_Entry& entry = *request.entry;
    if (!entry.copy_exists) {
        return "The cache has an entry for it, but its copy " + Quoted(entry.copy) +
               " is gone: 'qelfilecache clear' deletes copies, and so may another program. A program that starts now "
               "forgets the entry.";
    }
    std::string step = "The cache has a copy of it: " + Quoted(entry.copy);
    if (explained.copy_size) {
        step += ", " + Size_Text(*explained.copy_size);
    }
    step += ". ";
    if (entry.last_modified.empty()) {
        return step + "Of when its file was last changed, nothing was told (no Last-Modified).";
    }
    return step + (request.kind == Kind::Share ? "The share" : "The server") + "'s file was then last changed at " +
           Stamp_Text(request.kind, entry.last_modified) + ".";
}

/// What makes a change on the other side show before a fresh copy is asked about.
std::string How_To_See_A_Change(const Explained_Request& explained) {
    const std::uint64_t last_checked = explained.request.entry->last_checked_remotely;
    if (last_checked > explained.request.now) {
        // The period counts from there, so that even 0 asks nobody before.
        return " No shorter period changes that before " + Local_Time_Text(last_checked) +
               "; 'qelfilecache clear' does, for every copy of this cache.";
    }
    return explained.expiry_period.value == "0" ? "" : " A shorter period shows it sooner; 0 asks with every request.";
}

std::string Freshness_Step(const Explained_Request& explained) {
    const auto& request = explained.request;
    const Inspected_Entry& entry = *request.entry;
    const std::string other_side = The_Other_Side(request.kind);
    const std::string& minutes = explained.expiry_period.value;
    std::string step = "The copy's age counts from when " + other_side + " was last asked. " +
                       Age_Of(entry, request.now) + " A copy counts as fresh for " + minutes +
                       (minutes == "1" ? " minute (" : " minutes (") + Origin_Of(explained.expiry_period) + "). ";
    if (entry.fresh) {
        return step + "So it is fresh until " + Local_Time_Text(entry.fresh_until) +
               ", and until then nobody is asked: a change on " + other_side + " does not show." +
               How_To_See_A_Change(explained);
    }
    return step + "So it is fresh no more, and " + other_side + " is asked with the next request.";
}

/// What follows when the remote side is asked.
std::string Question_Step(const Explained_Request& explained) {
    const auto& request = explained.request;
    const std::string other_side = The_Other_Side(request.kind);
    const char* const fetched = request.kind == Kind::Share ? "copied" : "downloaded";
    if (!Has_Copy(explained)) {
        return std::string("The file is ") + fetched + " from " + other_side +
               " with the next request. When that fails, nothing is served, for there is no older copy.";
    }
    const char* const question =
        request.kind == Kind::Share ? "the time of its last change" : "its Last-Modified (HEAD)";
    return std::string(request.entry->fresh ? "After that, " : "Then ") + other_side + " is asked for " + question +
           ". The same as the copy's: the copy is served, and its age starts anew. Another one, none, an error or no "
           "answer: the file is " +
           fetched + " again; when that fails, the copy is served, however old it is.";
}

std::string Certificate_Step(const Certificate_Handling& handling, const Inspected_Setting& mode) {
    const std::string origin = " (" + Origin_Of(mode) + ").";
    const std::string prefix = "If the server's certificate does not hold, ";
    switch (handling.mode) {
    case 0:
        return prefix + "the request fails: certificate errors are never overlooked" + origin;
    case 1:
        return handling.listed
                   ? prefix + "that is overlooked: mode 1, and the address is on the white list" + origin
                   : prefix +
                         "the request fails: mode 1, and the address is not on the white list, which is compared "
                         "character by character" +
                         origin;
    case 2:
        return prefix + "that is overlooked for every address: mode 2" + origin +
               " Whoever can pose as the server can hand out files of his own; use it for tests only.";
    default:
        return prefix + "the request fails: mode " + std::to_string(handling.mode) + " is not known" + origin;
    }
}

bool Is_Https(const std::string& url) {
    return url.starts_with("https:");
}

std::string Comparison_Text(const Explained_Request& explained) {
    const Remote_Answer& answer = *explained.remote;
    if (answer.last_modified.empty()) {
        return " It does not tell when the file was last changed (no Last-Modified), so every check fetches it again.";
    }
    const std::string stamp = Stamp_Text(explained.request.kind, answer.last_modified);
    const std::string text = " Its file was last changed at " + stamp;
    if (!Has_Copy(explained)) {
        return text + ".";
    }
    return text + (answer.unchanged ? ", as the copy says: the copy is current."
                                    : ", the copy's version is another one: the copy is out of date.");
}

std::string Second_Attempt_Text(const Remote_Answer& answer, const Certificate_Handling& handling) {
    switch (answer.second) {
    case Second_Attempt::Succeeded:
        return handling.errors_are_ignored ? " A second attempt overlooked that and succeeded."
                                           : " A second attempt succeeded: the error was a passing one.";
    case Second_Attempt::Failed:
        return " A second attempt failed too.";
    case Second_Attempt::Not_Allowed:
        return " There is no second attempt: the configuration does not allow one.";
    case Second_Attempt::Not_Needed:
        break;
    }
    return {};
}

std::string Error_Text(Kind kind, const Remote_Answer& answer) {
    if (answer.error == 0) {
        return Printable(answer.error_text);
    }
    std::string text = "Error " + std::to_string(answer.error) + ": " +
                       (kind == Kind::Share ? Share_Error_Text(answer.error) : Web_Error_Text(answer.error)) + ".";
    std::string system_text = answer.error_text;
    system_text.erase(system_text.find_last_not_of(" \r\n") + 1);
    if (!system_text.empty()) {
        text += " The system says: " + Printable(system_text);
    }
    return text;
}

/// What the remote side said when it was asked.
std::string Answer_Step(const Explained_Request& explained) {
    const Remote_Answer& answer = *explained.remote;
    const Kind kind = explained.request.kind;
    const bool https = Is_Https(explained.request.normalised);
    if (kind == Kind::Share) {
        return answer.answered ? "Asked just now, the share has the file." + Comparison_Text(explained)
                               : "Asked just now, the share does not show the file. " + Error_Text(kind, answer);
    }
    if (answer.status != 0) {
        return "Asked just now, the server answers with status " + std::to_string(answer.status) + ": " +
               Status_Text(answer.status) + "." + (https ? " Its certificate holds." : "") +
               (answer.answered ? Comparison_Text(explained) : "");
    }
    std::string step = "Asked just now, the server gives no answer that counts. " + Error_Text(kind, answer);
    if (https && answer.error != 0 && !May_Be_The_Certificate(answer.error)) {
        step += Is_Certificate_Error(answer.error) ? " So its certificate does not hold."
                                                   : " Its certificate is not the cause.";
    }
    return step + Second_Attempt_Text(answer, explained.request.certificate) +
           (answer.answered ? Comparison_Text(explained) : "");
}

/// "the copy that was current at 2026-11-21 10:20:33".
std::string The_Copy(const Inspected_Entry& entry) {
    return entry.last_checked_remotely == 0
               ? "the copy, of unknown age,"
               : "the copy that was last known to be current at " + Local_Time_Text(entry.last_checked_remotely);
}

/// Why asking brought nothing: "the server cannot be connected to (error 12029)".
std::string Why_Not(const Explained_Request& explained) {
    const Remote_Answer& answer = *explained.remote;
    if (answer.status != 0) {
        return "the server answers with status " + std::to_string(answer.status);
    }
    if (answer.error == 0) {
        return "the request could not be sent";
    }
    return (explained.request.kind == Kind::Share ? Share_Error_Cause(answer.error) : Web_Error_Cause(answer.error)) +
           " (error " + std::to_string(answer.error) + ")";
}

/// True when asking found out nothing about the file: neither the file nor a reason against it.
bool Could_Not_Ask(const Remote_Answer& answer) {
    return !answer.answered && Refuses_Head_Alone(answer.status);
}

std::string Fresh_Verdict(const Explained_Request& explained) {
    const Inspected_Entry& entry = *explained.request.entry;
    const std::string other_side = The_Other_Side(explained.request.kind);
    std::string verdict =
        "would be served from the copy without asking " + other_side + " until " + Local_Time_Text(entry.fresh_until);
    if (!explained.remote) {
        return verdict + ".";
    }
    if (!explained.remote->answered) {
        return verdict + "; at the moment " + Why_Not(explained) + ".";
    }
    return verdict + (explained.remote->unchanged ? "; the copy is current." : "; the copy is out of date until then.");
}

std::string Stale_Verdict(const Explained_Request& explained) {
    const std::string other_side = The_Other_Side(explained.request.kind);
    const std::string copy = The_Copy(*explained.request.entry);
    if (!explained.remote) {
        return "would make the cache ask " + other_side + "; when neither that nor " +
               A_Download(explained.request.kind) + " succeeds, " + copy + " is served.";
    }
    if (!explained.remote->answered) {
        return "would make the cache try " + std::string(A_Download(explained.request.kind)) +
               " next, as the check failed: " + Why_Not(explained) + "; when that fails as well, " + copy +
               " is served.";
    }
    if (explained.remote->unchanged) {
        return "would be served from the copy, because " + other_side + " has the same version.";
    }
    return "would be served from a new copy, because " + other_side +
           (explained.remote->last_modified.empty() ? " does not tell whether its file has changed."
                                                    : " has another version.");
}

std::string Verdict_Without_Copy(const Explained_Request& explained) {
    const std::string other_side = The_Other_Side(explained.request.kind);
    if (!explained.remote) {
        return "would be served from a new copy, if " + other_side + " hands the file out; otherwise not at all.";
    }
    if (explained.remote->answered) {
        return "would be served from a new copy.";
    }
    if (Could_Not_Ask(*explained.remote)) {
        return "would be served from a new copy if a download succeeds, otherwise not at all: there is no copy, and " +
               Why_Not(explained) + " to the question alone.";
    }
    return "would not be served: there is no copy, and " + Why_Not(explained) +
           (explained.remote->status != 0 ? ", unless a download succeeds all the same." : ".");
}

/// True when the copy that there is would be served and no other is wanted.
bool Is_Served_As_It_Is(const Explained_Request& explained) {
    return Has_Copy(explained) && (explained.request.entry->fresh || (explained.remote && explained.remote->unchanged));
}

/// Of a request that fails whatever the remote side says: cause and remedy as 'get' words them.
Explanation Hopeless(Explanation explanation, const std::string& request) {
    Request_Outcome outcome;
    outcome.request = request;
    const std::string advice = Explain_Failure(outcome);
    const auto cause_end = advice.find("\n  Next: ");
    explanation.steps.push_back("But " + advice.substr(0, cause_end) +
                                ". Next: " + advice.substr(cause_end + std::string("\n  Next: ").size()));
    explanation.verdict = "would not be served: " + advice.substr(0, cause_end) + ".";
    explanation.served = false;
    return explanation;
}

} // namespace

Explanation Explain(const Explained_Request& explained) {
    const auto& request = explained.request;
    Explanation explanation;
    explanation.steps.push_back(Kind_Step(request));
    if (request.kind == Kind::Unusable || Holds_Control_Character(request.request) ||
        (request.kind == Kind::Web && !Malformation(request.normalised).empty())) {
        return Hopeless(std::move(explanation), request.request);
    }
    if (request.kind == Kind::Local) {
        if (!request.local_file_exists) {
            return Hopeless(std::move(explanation), request.request);
        }
        explanation.steps.push_back("The file exists. Whether it is current is not the cache's business.");
        explanation.verdict = "would be answered with the path itself.";
        return explanation;
    }

    explanation.steps.push_back(Entry_Step(explained));
    const bool has_copy = Has_Copy(explained);
    if (has_copy) {
        explanation.steps.push_back(Freshness_Step(explained));
    }
    explanation.steps.push_back(Question_Step(explained));
    if (Is_Https(request.normalised)) {
        explanation.steps.push_back(Certificate_Step(request.certificate, explained.certificate_mode));
    }
    if (explained.remote) {
        explanation.steps.push_back(Answer_Step(explained));
    }
    if (!explained.directory_problem.empty()) {
        explanation.steps.push_back("But " + explained.directory_problem +
                                    ": no new copy can be written, and 'qelfilecache get' refuses to work. Next: "
                                    "change the permissions, or name another directory with --cache-dir.");
    }
    if (!explained.directory_problem.empty() && !Is_Served_As_It_Is(explained)) {
        explanation.verdict = has_copy ? "would be served from " + The_Copy(*request.entry) + ", because " +
                                             explained.directory_problem + "."
                                       : "would not be served: " + explained.directory_problem + ".";
        explanation.served = has_copy;
        return explanation;
    }
    if (!has_copy) {
        explanation.verdict = Verdict_Without_Copy(explained);
        explanation.served = !explained.remote || explained.remote->answered || Could_Not_Ask(*explained.remote);
    } else {
        explanation.verdict = request.entry->fresh ? Fresh_Verdict(explained) : Stale_Verdict(explained);
    }
    return explanation;
}

} // namespace QEL::FrontEnd::Tool
