#include "tools/trace_reader/messages.h"
#include "tools/trace_reader/records.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

constexpr std::string_view request_method = "Get_Cached_File_and_Status";

/// The text of a result: "''" stands for an empty one, and some results are labelled or quoted.
std::string_view Result_In(std::string_view text) {
    for (const std::string_view label : {"rtn = ", "ok = "}) {
        if (text.starts_with(label)) {
            return text.substr(label.size());
        }
    }
    if (text.size() >= 2 && text.starts_with('\'') && text.ends_with('\'')) {
        return text.substr(1, text.size() - 2);
    }
    return text;
}

void Take_Entry(const Record& record, Call_Facts& facts) {
    if (record.method == request_method && !record.incomplete) {
        facts.asked = Between(record.text, "url='", "'");
    } else if (record.method == "Set_Cache_Directory" && !record.incomplete) {
        facts.asked = Between(record.text, "absolute_dir_path='", "'");
    } else if (record.method == "Download_Inet_URL" || record.method == "Download_File_Share") {
        facts.has_downloaded = true;
    }
}

void Take_Exit(const Record& record, const Call& call, Call_Facts& facts) {
    const auto result = Result_In(record.text);
    facts.ends_as_share = record.method == "Is_File_Share" && record.depth == 1 && result == "true";
    if (record.incomplete || record.text.empty()) { // the cache writes an empty result as two quotes
        facts.exit_is_incomplete = facts.exit_is_incomplete || record.method == request_method;
    } else if (record.method == "Get_Cached_Remote_File") {
        facts.remote_result = result;
    } else if (record.method == (call.operation == Operation::Get ? request_method : Label_Of(call.operation))) {
        facts.returned = true;
        facts.result = result;
    }
}

void Take_Message(const Record& record, Call_Facts& facts) {
    const auto recognised = Recognise(record.text);
    if (recognised.take != nullptr) {
        recognised.take(facts, recognised.arguments);
    }
    if (recognised.message == nullptr && record.severity == Severity::Error) {
        facts.secondary_cause = record.text.substr(0, record.text.find('\n'));
    }
    const bool explains = recognised.weight != Weight::None && recognised.Meant_Severity() >= Severity::Warning;
    const bool is_consequence = record.method == request_method && !facts.primary_cause.empty();
    if (!explains || is_consequence) {
        return;
    }
    std::string cause = recognised.Cause();
    const bool is_check = record.method == "Is_Inet_URL_Expired" || record.method == "Is_File_Share_Expired";
    if (is_check && (facts.check_cause.empty() || recognised.weight == Weight::Primary)) {
        facts.check_cause = cause;
    }
    (recognised.weight == Weight::Primary ? facts.primary_cause : facts.secondary_cause) = std::move(cause);
}

Call_Facts Find_Facts(const Call& call) {
    Call_Facts facts;
    for (const Record* each : call.records) {
        const Record& record = *each;
        facts.ends_as_share = false;
        facts.went_remote =
            facts.went_remote || (record.method == "Get_Cached_Remote_File" && record.kind != Record_Kind::Return);
        if (record.kind == Record_Kind::Call) {
            Take_Entry(record, facts);
        } else if (record.kind == Record_Kind::Return) {
            Take_Exit(record, call, facts);
        } else {
            Take_Message(record, facts);
        }
    }
    return facts;
}

std::string In_Parentheses(const std::string& text) {
    return text.empty() ? std::string() : " (" + text + ")";
}

std::string Why_It_Failed(const Call_Facts& facts) {
    if (!facts.primary_cause.empty()) {
        return facts.primary_cause;
    }
    return facts.secondary_cause.empty() ? "the trace does not say why" : facts.secondary_cause;
}

struct Judgement {
    Outcome outcome;
    std::string explanation;
};

Judgement Judge_Replacement(const Call_Facts& facts) {
    if (facts.copy_was_missing) {
        return {facts.is_share ? Outcome::Copied : Outcome::Downloaded, "fetched again: the copy was missing on disk"};
    }
    if (facts.check_failed) {
        return {Outcome::Replaced,
                "fetched again, as the remote side could not be asked for changes" + In_Parentheses(facts.check_cause)};
    }
    if (facts.has_no_date) {
        return {Outcome::Replaced, "fetched again, as the server does not say when the file was changed"};
    }
    if (!facts.new_date.empty()) {
        return {Outcome::Replaced, "changed on the server: now of '" + std::string(facts.new_date) + "', before of '" +
                                       std::string(Between(facts.old_entry, "last_modified=\"", "\"")) + "'"};
    }
    return {Outcome::Replaced, facts.is_share ? "changed on the share" : "changed on the server"};
}

bool Found_No_Problem(const Call_Facts& facts) {
    return facts.primary_cause.empty() && facts.secondary_cause.empty();
}

/// What a request returned whose exit is lost, from what was written before it.
std::string_view Path_Without_Exit(const Call_Facts& facts) {
    if (!facts.remote_result.empty()) {
        return facts.remote_result;
    }
    if (!facts.copy_used.empty() || !facts.exit_is_incomplete || !facts.primary_cause.empty()) {
        return facts.copy_used;
    }
    return facts.is_local ? facts.normalised : facts.copy_written;
}

/// A request that returned a path.
Judgement Judge_Served(const Call_Facts& facts) {
    if (facts.is_local) {
        return {Outcome::Local, "a local path, returned unchanged"};
    }
    if (!facts.went_remote) {
        return {Outcome::Fresh, "the copy is younger than the expiry period: no server was asked"};
    }
    if (!facts.copy_used.empty()) {
        if (facts.has_downloaded) {
            return {Outcome::Old_Copy, Why_It_Failed(facts) + "; the last good copy was served"};
        }
        return {Outcome::Unchanged, facts.is_share ? "checked: the file on the share is unchanged"
                                                   : "checked: the server said that nothing has changed"};
    }
    if (facts.is_expired || facts.check_failed || facts.copy_was_missing) {
        return Judge_Replacement(facts);
    }
    const std::string before = facts.was_unknown ? "not cached before: " : "";
    return facts.is_share ? Judgement{Outcome::Copied, before + "copied from the share"}
                          : Judgement{Outcome::Downloaded, before + "downloaded"};
}

/// Nothing where the trace ends before the call does or does not say.
std::optional<Judgement> Judge_Request(const Call& call, const Call_Facts& facts) {
    if (facts.returned && !facts.result.empty()) {
        const bool begins = call.records.front()->kind == Record_Kind::Call;
        return begins || facts.went_remote || facts.is_local
                   ? Judge_Served(facts)
                   : Judgement{Outcome::Unknown, "the beginning of the call is not in the trace"};
    }
    if (facts.returned) {
        return Judgement{Outcome::Failed, Why_It_Failed(facts)};
    }
    if (facts.ends_as_share) {
        return Judgement{Outcome::Left_In_Place, "writable on its share, so the host opens the original"};
    }
    if (call.at_end) {
        return std::nullopt;
    }
    if (!Path_Without_Exit(facts).empty() || (facts.exit_is_incomplete && Found_No_Problem(facts))) {
        return Judge_Served(facts);
    }
    return Found_No_Problem(facts) ? std::nullopt : std::optional<Judgement>({Outcome::Failed, Why_It_Failed(facts)});
}

std::optional<Judgement> Judge_Directory(const Call_Facts& facts) {
    if (facts.same_directory) {
        return Judgement{Outcome::Done, "it was set already"};
    }
    if (facts.returned && facts.result == "true") {
        std::string explanation = Util::Counted(facts.entries_read, "entry", "entries");
        if (facts.entries_ignored > 0) {
            explanation += ", " + std::to_string(facts.entries_ignored) + " more forgotten as their copies are missing";
        }
        return Judgement{Outcome::Done, explanation};
    }
    const bool has_failed = facts.returned || !facts.primary_cause.empty();
    return has_failed ? std::optional<Judgement>({Outcome::Failed, Why_It_Failed(facts)}) : std::nullopt;
}

std::optional<Judgement> Judge_Deletion(const Call& call, const Call_Facts& facts) {
    if (!facts.returned) {
        return std::nullopt;
    }
    if (facts.result != "true" || !Found_No_Problem(facts)) {
        return Judgement{Outcome::Failed, Why_It_Failed(facts)};
    }
    return Judgement{Outcome::Done, call.operation == Operation::Clear
                                        ? "all entries and their copies are deleted"
                                        : "all copies in the cache directory are deleted"};
}

Judgement Judge(const Call& call, const Call_Facts& facts) {
    if (call.operation == Operation::Start) {
        return {Outcome::Done, {}};
    }
    const auto judgement = call.operation == Operation::Get                   ? Judge_Request(call, facts)
                           : call.operation == Operation::Set_Cache_Directory ? Judge_Directory(facts)
                                                                              : Judge_Deletion(call, facts);
    if (judgement) {
        return *judgement;
    }
    return call.at_end ? Judgement{Outcome::Cut_Off, "the trace ends within this call: the process died, is still at "
                                                     "work, or continued its trace in a new file"}
                       : Judgement{Outcome::Unknown, "the end of the call is not in the trace"};
}

std::string_view Path_Served(const Call& call, const Call_Facts& facts) {
    if (call.operation != Operation::Get) {
        return {};
    }
    if (facts.returned) {
        return facts.result;
    }
    return call.outcome == Outcome::Cut_Off || call.outcome == Outcome::Failed ? std::string_view()
                                                                               : Path_Without_Exit(facts);
}

} // namespace

void Determine_Outcome(Call& call) {
    const Call_Facts facts = Find_Facts(call);
    // Only "file:" addresses are changed; and what the cache went on with is written in one piece.
    const bool was_changed = facts.asked.starts_with("file:");
    call.subject = facts.normalised.empty() || was_changed ? facts.asked : facts.normalised;
    auto [outcome, explanation] = Judge(call, facts);
    call.outcome = outcome;
    call.explanation = std::move(explanation);
    call.path = Path_Served(call, facts);
    if (outcome == Outcome::Failed) {
        call.worst = Severity::Error;
    } else if (outcome == Outcome::Old_Copy || outcome == Outcome::Cut_Off) {
        call.worst = std::max(call.worst, Severity::Warning);
    }
}

} // namespace QEL::FrontEnd::Trace_Reading
