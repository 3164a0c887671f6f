#include "tools/qelfilecache/inspecting/explanation.h"

#include "tools/qelfilecache/inspecting/times.h"

#include <algorithm>

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
    const std::string cause = Advice_On(explained).cause;
    if (response.error == 0 || response.status != 0) {
        return cause;
    }
    return With_Number(cause, response.error);
}

/// What limits a verdict that the remote side agrees to.
std::string Reservation(const Explained_Request& explained) {
    const std::string oddity =
        Differs_In_Length_Alone(explained) ? "its length differs, so the copy is out of date" : Oddity_Of(explained);
    return oddity.empty() ? "." : "; but " + oddity + ".";
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
        return verdict + "; " + other_side + " does not say whether its file has changed" + Reservation(explained);
    }
    if (explained.Has_Copy_Without_Stamp()) {
        return verdict + "; the copy has no Last-Modified to compare" + Reservation(explained);
    }
    const std::string change =
        Oddity_Of(explained).empty() ? "the copy is out of date until then" : other_side + " has another version";
    return verdict + "; " + (explained.remote->unchanged ? explained.What_Is_The_Same() : change) +
           Reservation(explained);
}

std::string Stale_Verdict(const Explained_Request& explained) {
    const std::string other_side = explained.Other_Side();
    const std::string copy = The_Copy(*explained.request.entry);
    if (!explained.remote) {
        return "would make the cache ask " + other_side + "; if that and " + A_Download(explained) + " fail, " + copy +
               " is served.";
    }
    if (explained.remote->unchanged && !explained.remote->answered) { // of a share
        return "would be served from the copy: " + explained.What_Is_The_Same() +
               "; but the file itself cannot be read: " + Why_Not(explained) + ".";
    }
    if (!explained.remote->answered) {
        return "would make the cache try " + A_Download(explained) +
               " next, as the check failed: " + Why_Not(explained) + "; when that fails as well, " + copy +
               " is served.";
    }
    if (explained.remote->unchanged) {
        return "would be served from the copy: " + explained.What_Is_The_Same() + Reservation(explained);
    }
    return "would be served from a new copy, because " +
           (explained.remote->last_modified.empty() ? other_side + " does not say whether its file has changed"
            : explained.Has_Copy_Without_Stamp()    ? "the copy has no Last-Modified to compare"
                                                    : other_side + " has another version") +
           Reservation(explained);
}

std::string Verdict_Without_Copy(const Explained_Request& explained) {
    const std::string other_side = explained.Other_Side();
    if (!explained.remote) {
        return "would be served from a new copy, if " + other_side + " delivers the file; otherwise not at all.";
    }
    if (explained.remote->answered) {
        return std::string("would be served from a new copy") +
               (explained.Is_Share() ? "" : ", unless the download fails") + Reservation(explained);
    }
    if (Could_Not_Ask(*explained.remote)) {
        return "would be served from a new copy if a download succeeds, otherwise not at all: there is no copy, and "
               "to HEAD " +
               Why_Not(explained) + ".";
    }
    // The server may treat GET otherwise, redirect it elsewhere too.
    constexpr std::uint32_t failures_of_head[] = {12002, 12030, 12031, 12152, 12156};
    const bool is_direct = explained.proxy && explained.proxy->value.empty();
    const bool may_succeed =
        (explained.remote->status != 0 && (explained.remote->status != Util::Proxy_Login_Required || is_direct)) ||
        std::ranges::count(failures_of_head, explained.remote->error) > 0 ||
        !Util::Redirection(explained.request.normalised, explained.details.final_url).empty();
    return "would not be served: there is no copy, and " + Why_Not(explained) +
           (may_succeed ? ", unless a download succeeds nevertheless." : ".");
}

/// True when the copy that there is would be served and no other is wanted.
bool Is_Served_As_It_Is(const Explained_Request& explained) {
    return explained.Has_Copy() &&
           (explained.request.entry->fresh || (explained.remote && explained.remote->unchanged));
}

} // namespace

std::string Verdict_On(const Explained_Request& explained) {
    const bool has_copy = explained.Has_Copy();
    if (const std::string why = Why_No_New_Copy(explained); !why.empty() && !Is_Served_As_It_Is(explained)) {
        return has_copy ? "would be served from " + The_Copy(*explained.request.entry) + ", because " + why + "."
                        : "would not be served: " + why + ".";
    }
    if (!has_copy) {
        return Verdict_Without_Copy(explained);
    }
    return explained.request.entry->fresh ? Fresh_Verdict(explained) : Stale_Verdict(explained);
}

} // namespace QEL::FrontEnd::Tool
