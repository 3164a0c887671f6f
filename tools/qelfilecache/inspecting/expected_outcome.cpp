#include "tools/qelfilecache/inspecting/explanation.h"

namespace QEL::FrontEnd::Tool {

using Kind = FileCache::Request_Explanation::Kind;

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

} // namespace QEL::FrontEnd::Tool
