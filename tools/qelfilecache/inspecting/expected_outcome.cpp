#include "tools/qelfilecache/inspecting/explanation.h"

#include "util/Ascii.h"

#include <algorithm>

namespace QEL::FrontEnd::Tool {

using Kind = FileCache::Request_Explanation::Kind;

namespace {

Expected_Outcome Outcome_After_One_Response(const Explained_Request& explained) {
    using Trace_Reading::Outcome;
    const auto& request = explained.request;
    if (request.kind == Kind::Local) {
        return request.local_file_exists ? Outcome::Local : Outcome::Failed;
    }
    if (explained.left_in_place) {
        return Outcome::Left_In_Place;
    }
    if (!explained.refusal_of_get.empty()) {
        return Outcome::Failed;
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
    if (!Why_No_New_Copy(explained).empty() && (remote || !has_copy)) {
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

/// An address that does not respond is passed over.
bool Counts(const Asked& asked) {
    return asked.address.empty() || Has_Responded(asked.answer);
}

} // namespace

bool Has_Invalid_Proxy(const Explained_Request& explained) {
    const auto& proxy = explained.proxy;
    return proxy && proxy->value.empty() && proxy->source.find('_') != std::string::npos &&
           !Util::Equals_Ignoring_Case(proxy->source, "no_proxy");
}

std::string Why_No_New_Copy(const Explained_Request& explained) {
    if (Has_Invalid_Proxy(explained)) {
        return "the variable " + explained.proxy->source + " names no valid proxy";
    }
    switch (explained.directory_problem.cause.empty() ? explained.details.refusal : 0) {
    case 0:
        return explained.directory_problem.cause;
    case 112:
        return "the disk is full, as its last 5 % (1 GB at most) stay free (error 112)";
    default:
        return "the file is too large: LandscapeLargestFile allows less (error 223)";
    }
}

Explained_Request As_Asked(const Explained_Request& explained, const Asked& asked) {
    Explained_Request then = explained;
    then.remote = asked.answer;
    then.details = asked.details;
    then.asked.clear();
    return then;
}

Difference Difference_Between_Responses(const Explained_Request& explained) {
    Difference difference = Difference::None;
    for (const Asked& asked : explained.asked) {
        const auto& first = explained.asked.front();
        if (!Counts(asked)) {
            continue;
        }
        if (asked.answer.answered && first.answer.answered &&
            asked.answer.last_modified != first.answer.last_modified) {
            return Difference::Of_Stamps;
        }
        const auto& length = asked.details.content_length;
        if (asked.answer.status != first.answer.status ||
            (length && first.details.content_length && *length != *first.details.content_length)) {
            difference = Difference::Of_Others;
        }
    }
    return difference;
}

bool Is_Out_Of_Date(const Explained_Request& explained) {
    if (!explained.asked.empty()) {
        return std::ranges::any_of(
            explained.asked, [&explained](const Asked& asked) { return Is_Out_Of_Date(As_Asked(explained, asked)); });
    }
    const auto& remote = explained.remote;
    return explained.Has_Copy() && remote && remote->answered &&
           ((!remote->last_modified.empty() && !remote->unchanged && !explained.Has_Copy_Without_Stamp()) ||
            Differs_In_Length_Alone(explained));
}

Expected_Outcome Outcome_Expected_Of(const Explained_Request& explained) {
    const Expected_Outcome expected = Outcome_After_One_Response(explained);
    const bool is_certain = std::ranges::all_of(explained.asked, [&](const Asked& asked) {
        return !Counts(asked) || Outcome_After_One_Response(As_Asked(explained, asked)) == expected;
    });
    return is_certain ? expected : std::nullopt;
}

} // namespace QEL::FrontEnd::Tool
