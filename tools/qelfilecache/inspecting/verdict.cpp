#include "tools/qelfilecache/inspecting/explanation.h"

#include "tools/qelfilecache/inspecting/times.h"
#include "util/Http_Status.h"

namespace QEL::FrontEnd::Tool {

namespace {

using FileCache::Inspected_Entry;
using FileCache::Remote_Answer;
using Kind = FileCache::Request_Explanation::Kind;

/// What follows a check that does not find the copy current.
std::string A_Download(const Explained_Request& explained) {
    return explained.Is_Share() ? "copying the file" : "a download";
}

/// "the copy that was current at 2026-11-21 10:20:33".
std::string The_Copy(const Inspected_Entry& entry) {
    return entry.last_checked_remotely == 0
               ? "the copy, of unknown age,"
               : "the copy that was last known to be current at " + Local_Time_Text(entry.last_checked_remotely);
}

/// Why asking brought nothing: "the server cannot be connected to (error 12029)".
std::string Why_Not(const Explained_Request& explained) {
    const Remote_Answer& response = *explained.remote;
    if (response.status != 0) {
        return "the server responds with status " + std::to_string(response.status);
    }
    if (response.error == 0) {
        return "the request could not be sent";
    }
    return std::string(Meaning_Of(response).cause) + " (error " + std::to_string(response.error) + ")";
}

/// True when asking found out nothing about the file: neither the file nor a reason against it.
bool Could_Not_Ask(const Remote_Answer& response) {
    return !response.answered && Util::Refuses_Head_Alone(response.status);
}

std::string Fresh_Verdict(const Explained_Request& explained) {
    const Inspected_Entry& entry = *explained.request.entry;
    const std::string other_side = explained.Other_Side();
    std::string verdict =
        "would be served from the copy without asking " + other_side + " until " + Local_Time_Text(entry.fresh_until);
    if (!explained.remote) {
        return verdict + ".";
    }
    if (!explained.remote->answered) {
        return verdict + "; at the moment " + Why_Not(explained) + ".";
    }
    if (explained.remote->last_modified.empty()) {
        return verdict + "; " + other_side + " does not say whether its file has changed.";
    }
    return verdict + (explained.remote->unchanged ? "; the copy is current." : "; the copy is out of date until then.");
}

std::string Stale_Verdict(const Explained_Request& explained) {
    const std::string other_side = explained.Other_Side();
    const std::string copy = The_Copy(*explained.request.entry);
    if (!explained.remote) {
        return "would make the cache ask " + other_side + "; when neither that nor " + A_Download(explained) +
               " succeeds, " + copy + " is served.";
    }
    if (!explained.remote->answered) {
        return "would make the cache try " + A_Download(explained) +
               " next, as the check failed: " + Why_Not(explained) + "; when that fails as well, " + copy +
               " is served.";
    }
    if (explained.remote->unchanged) {
        return "would be served from the copy, because " + other_side + " has the same version.";
    }
    return "would be served from a new copy, because " + other_side +
           (explained.remote->last_modified.empty() ? " does not say whether its file has changed."
                                                    : " has another version.");
}

std::string Verdict_Without_Copy(const Explained_Request& explained) {
    const std::string other_side = explained.Other_Side();
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
    return explained.Has_Copy() &&
           (explained.request.entry->fresh || (explained.remote && explained.remote->unchanged));
}

} // namespace

Expected_Outcome Outcome_Expected_Of(const Explained_Request& explained) {
    using Trace_Reading::Outcome;
    const auto& request = explained.request;
    if (request.kind == Kind::Local) {
        return request.local_file_exists ? Outcome::Local : Outcome::Failed;
    }
    if (explained.left_in_place) {
        return Outcome::Left_In_Place;
    }
    const bool has_copy = explained.Has_Copy();
    if (has_copy && request.entry->fresh) {
        return Outcome::Fresh;
    }
    const Outcome without_download = has_copy ? Outcome::Old_Copy : Outcome::Failed;
    if (!explained.is_valid) {
        return without_download;
    }
    const auto& remote = explained.remote;
    if (has_copy && remote && remote->unchanged) {
        return Outcome::Unchanged;
    }
    if (!explained.directory_problem.empty() && (remote || !has_copy)) {
        return without_download;
    }
    if (!remote || Could_Not_Ask(*remote)) {
        return {};
    }
    if (!remote->answered) {
        return without_download;
    }
    if (has_copy) {
        return Outcome::Replaced;
    }
    return explained.Is_Share() ? Outcome::Copied : Outcome::Downloaded;
}

std::string Verdict_On(const Explained_Request& explained) {
    const bool has_copy = explained.Has_Copy();
    if (!explained.directory_problem.empty() && !Is_Served_As_It_Is(explained)) {
        return has_copy ? "would be served from " + The_Copy(*explained.request.entry) + ", because " +
                              explained.directory_problem + "."
                        : "would not be served: " + explained.directory_problem + ".";
    }
    if (!has_copy) {
        return Verdict_Without_Copy(explained);
    }
    return explained.request.entry->fresh ? Fresh_Verdict(explained) : Stale_Verdict(explained);
}

} // namespace QEL::FrontEnd::Tool
