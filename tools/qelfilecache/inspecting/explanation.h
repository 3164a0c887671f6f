#pragma once

#include "filecache/inspection/Cache_Inspection.h"
#include "tools/qelfilecache/Request_Outcome.h"
#include "tools/trace_reader/trace_reader.h"

#include "util/Http_Status.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// One of several times that a web server was asked.
struct Asked {
    std::string address; ///< of its name; empty: the system chose
    FileCache::Remote_Answer answer;
    FileCache::Response_Details details;
};

/// All that is known of how one request would be served.
struct Explained_Request {
    FileCache::Request_Explanation request;
    bool is_valid = true;       ///< see Cache_Inspection::Is_Valid
    bool left_in_place = false; ///< see Cache_Inspection::Is_Left_In_Place; false when the remote side was not asked
    std::optional<FileCache::Remote_Answer> remote; ///< none: the remote side was not asked
    FileCache::Response_Details details;            ///< of its response
    std::vector<Asked> asked;                       ///< all times, the first is `remote`; empty when once was enough
    std::string not_asked; ///< a sentence: which of the server's addresses could not be asked, and why
    std::optional<FileCache::Inspected_Setting> proxy; ///< of Kind::Web, see Cache_Inspection::Proxy_For
    std::string proxy_note;                            ///< sentences: which variables do not do what they seem to
    FileCache::Inspected_Setting expiry_period;
    FileCache::Inspected_Setting server_retry;
    FileCache::Inspected_Setting certificate_mode;
    std::vector<FileCache::Inspected_Setting> authorities; ///< that alone are trusted; none: the system's are
    std::string cache;                                     ///< see Name_Of_Cache
    std::string list_fault;     ///< how a sentence about a metadata file that is not sound goes on; empty of others
    std::string copy_of;        ///< the request was this copy's path; the rest is about its address
    bool is_stray_copy = false; ///< the request is the path or the name of a copy that no entry names
    std::vector<std::string> faults; ///< of the configuration, see Cache_Inspection::Configuration_Faults
    std::optional<std::uintmax_t> copy_size;
    std::optional<std::uintmax_t> copy_length; ///< what the server sent of it; see Length_As_Sent
    std::string copy_fault;                    ///< see Fault_Of_Copy; of Kind::Local, see Fault_Of_File
    Advice directory_problem;                  ///< see Why_No_Copy_Fits
    std::string refusal_of_get;                ///< see Why_Get_Refuses
    bool copies_will_go = false;               ///< see Would_Lose_Copies

    bool Has_Copy() const { return request.entry && request.entry->copy_exists && !copies_will_go; }

    /// True when a response with a stamp says nothing about the copy.
    bool Has_Copy_Without_Stamp() const { return Has_Copy() && request.entry->last_modified.empty(); }

    bool Is_Share() const { return request.kind == FileCache::Request_Explanation::Kind::Share; }

    bool Is_Https() const { return request.normalised.starts_with("https:"); }

    /// What is asked for changes, within a sentence.
    std::string Other_Side() const { return Is_Share() ? "the share" : "the server"; }

    /// That a check finds the copy unchanged.
    std::string What_Is_The_Same() const {
        return Is_Share() ? "the time of change is the same" : "Last-Modified is the same";
    }
};

/// True when a server was reached: it responded, or its file came in spite of its certificate.
inline bool Has_Responded(const FileCache::Remote_Answer& answer) {
    return answer.answered || answer.status != 0;
}

/// The explanation if that had been the only time.
Explained_Request As_Asked(const Explained_Request& explained, const Asked& asked);

/// What the server said when it did not say the same each time, apart from addresses without a response.
enum class Difference {
    None,
    Of_Stamps, ///< in Last-Modified
    Of_Others  ///< in length or status alone
};
Difference Difference_Between_Responses(const Explained_Request& explained);

/// True when the remote side has the copy's stamp, but not its length. Web servers may say 0 bytes to every HEAD.
inline bool Differs_In_Length_Alone(const Explained_Request& explained) {
    return explained.remote && explained.remote->unchanged && explained.details.content_length &&
           !Util::Is_Without_Whole_File(explained.remote->status) &&
           (explained.Is_Share() || *explained.details.content_length > 0) && explained.copy_length &&
           *explained.details.content_length != *explained.copy_length;
}

/// True when each request fails: the variable that is to name the proxy, no setting of Windows, names none.
bool Has_Invalid_Proxy(const Explained_Request& explained);

/// Why no copy of what the remote side has can be written; empty: it can, or nobody knows.
std::string Why_No_New_Copy(const Explained_Request& explained);

/// True when the remote side has shown, once at least, that the copy is not what it has.
bool Is_Out_Of_Date(const Explained_Request& explained);

/// True when asking found out nothing about the file: neither the file nor a reason against it.
inline bool Could_Not_Ask(const FileCache::Remote_Answer& response) {
    return !response.answered && Util::Refuses_Head_Alone(response.status);
}

/// Why the remote side hands nothing out.
Advice Advice_On(const Explained_Request& explained);

/// What is odd about a response that the cache takes, such as a page in place of an XML file; empty when nothing is.
std::string Oddity_Of(const Explained_Request& explained);

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
