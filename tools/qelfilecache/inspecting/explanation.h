#pragma once

#include "filecache/inspection/Cache_Inspection.h"
#include "tools/trace_reader/trace_reader.h"
#include "util/Error_Meaning.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// All that is known of how one request would be served.
struct Explained_Request {
    FileCache::Request_Explanation request;
    bool is_valid = true;       ///< see Cache_Inspection::Is_Valid
    bool left_in_place = false; ///< see Cache_Inspection::Is_Left_In_Place; false when the remote side was not asked
    std::optional<FileCache::Remote_Answer> remote; ///< none: the remote side was not asked
    FileCache::Inspected_Setting expiry_period;
    FileCache::Inspected_Setting server_retry;
    FileCache::Inspected_Setting certificate_mode;
    std::vector<FileCache::Inspected_Setting> authorities; ///< that alone are trusted; none: the system's are
    std::optional<std::uintmax_t> copy_size;
    std::string directory_problem; ///< why no copy can be written to the cache directory; empty: it can

    bool Has_Copy() const { return request.entry && request.entry->copy_exists; }

    bool Is_Share() const { return request.kind == FileCache::Request_Explanation::Kind::Share; }

    bool Is_Https() const { return request.normalised.starts_with("https:"); }

    /// What is asked for changes, within a sentence.
    std::string Other_Side() const { return Is_Share() ? "the share" : "the server"; }
};

/// What the error says that asking ended with.
inline Util::Error_Meaning Meaning_Of(const FileCache::Remote_Answer& answer) {
    const auto meaning = Util::Meaning_Of_Error(answer.error);
    return meaning.cause.empty() ? Util::Error_Meaning{answer.error, "the request failed on its way",
                                                       "look the number up among the system's errors"}
                                 : meaning;
}

/// None: it depends on what the remote side says, or on whether a download succeeds where the check alone is refused.
using Expected_Outcome = std::optional<Trace_Reading::Outcome>;

/// How a request would be served, in words for an administrator.
struct Explanation {
    std::vector<std::string> steps; ///< a sentence or a few each, in the order in which the cache decides
    std::string verdict;            ///< one line; the sentence goes on from "The request"
    Expected_Outcome expected;
};

Explanation Explain(const Explained_Request& explained);

/// What a trace would say of the request, when a download meets what the check has met.
Expected_Outcome Outcome_Expected_Of(const Explained_Request& explained);

/// What an explanation of a request for a web file or one on a share comes to: one line, the sentence goes on from
/// "The request".
std::string Verdict_On(const Explained_Request& explained);

} // namespace QEL::FrontEnd::Tool
