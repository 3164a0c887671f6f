#include "tools/trace_reader/call_outcome.h"

#include "tools/trace_reader/call_facts.h"

#include <algorithm>
#include <string>
#include <utility>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

std::string In_Parentheses(const std::string& text) {
    return text.empty() ? std::string() : " (" + text + ")";
}

std::string Why_It_Failed(const Call_Facts& facts) {
    if (!facts.primary_cause.empty()) {
        return facts.primary_cause;
    }
    return facts.secondary_cause.empty() ? "the trace does not tell why" : facts.secondary_cause;
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
        return {Outcome::Replaced, "fetched again, as the server does not tell when the file was changed"};
    }
    if (facts.is_changed && !facts.new_date.empty()) {
        return {Outcome::Replaced, "changed on the server: now of '" + std::string(facts.new_date) + "', before of '" +
                                       std::string(facts.old_date) + "'"};
    }
    return {Outcome::Replaced, facts.is_share ? "changed on the share" : "changed on the server"};
}

bool Found_No_Problem(const Call_Facts& facts) {
    return facts.primary_cause.empty() && facts.secondary_cause.empty();
}

/// The answer of a request whose exit is lost, from what was told before it.
std::string_view Path_Without_Exit(const Call_Facts& facts) {
    if (!facts.remote_result.empty()) {
        return facts.remote_result;
    }
    if (!facts.copy_used.empty() || !facts.exit_is_incomplete || !facts.primary_cause.empty()) {
        return facts.copy_used;
    }
    return facts.is_local ? facts.normalised : facts.copy_written;
}

/// A request that was answered with a path.
Judgement Judge_Served(const Call_Facts& facts) {
    if (facts.is_local) {
        return {Outcome::Local, "a local path, answered as it stands"};
    }
    if (!facts.went_remote) {
        return {Outcome::Fresh, "the copy is younger than the expiry period: nobody was asked"};
    }
    if (!facts.copy_used.empty()) {
        if (facts.has_downloaded) {
            return {Outcome::Old_Copy, Why_It_Failed(facts) + "; the older copy was served"};
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

/// A request of a trace without entries and exits.
Judgement Judge_Concluded(const Call& call, const Call_Facts& facts) {
    if (facts.primary_cause.empty() && !facts.copy_written.empty()) {
        return {Outcome::Copied, "copied from the share"};
    }
    if (Found_No_Problem(facts)) {
        return {Outcome::Not_Told, facts.second_attempt_worked ? "the second attempt worked"
                                                               : "the trace has notes about it, and no error"};
    }
    const std::string cause = Why_It_Failed(facts);
    if (facts.failed_for_certain) {
        return {Outcome::Failed, cause};
    }
    if (call.operation != Operation::Get) {
        return {Outcome::Not_Told, cause};
    }
    if (facts.second_attempt_worked) {
        return {Outcome::Not_Told, cause + "; the second attempt worked"};
    }
    return {Outcome::Not_Told, cause + "; a trace of level 4 tells what was served in the end"};
}

Judgement Judge_Request(const Call& call, const Call_Facts& facts) {
    if (facts.returned) {
        return facts.result.empty() ? Judgement{Outcome::Failed, Why_It_Failed(facts)} : Judge_Served(facts);
    }
    if (facts.ends_as_share) {
        return {Outcome::Left_In_Place, "writable on its share, where the host wants to open it itself"};
    }
    if (call.at_end) {
        return {Outcome::Cut_Off,
                "the trace ends within this call: the process died, is still at work, or traced on in a new file"};
    }
    if (!Path_Without_Exit(facts).empty() || (facts.exit_is_incomplete && Found_No_Problem(facts))) {
        return Judge_Served(facts);
    }
    if (!Found_No_Problem(facts)) {
        return {Outcome::Failed, Why_It_Failed(facts)};
    }
    return {Outcome::Not_Told, "the end of the call is not in the trace"};
}

Judgement Judge_Directory(const Call& call, const Call_Facts& facts) {
    if (facts.same_directory) {
        return {Outcome::Done, "it was set already"};
    }
    if (facts.returned && facts.result == "true") {
        std::string explanation =
            std::to_string(facts.entries_read) + (facts.entries_read == 1 ? " entry" : " entries");
        if (facts.entries_ignored > 0) {
            explanation += ", " + std::to_string(facts.entries_ignored) + " more forgotten as their copies are missing";
        }
        return {Outcome::Done, explanation};
    }
    if (facts.returned || !facts.primary_cause.empty()) {
        return {Outcome::Failed, Why_It_Failed(facts)};
    }
    return call.at_end ? Judgement{Outcome::Cut_Off, "the trace ends within this call"}
                       : Judgement{Outcome::Not_Told, "the end of the call is not in the trace"};
}

Judgement Judge_Deletion(const Call& call, const Call_Facts& facts) {
    const bool some_left = !Found_No_Problem(facts);
    if (facts.returned && (facts.result != "true" || some_left)) {
        return {Outcome::Failed, Why_It_Failed(facts)};
    }
    if (facts.returned) {
        return {Outcome::Done, call.operation == Operation::Clear ? "all entries and their copies are deleted"
                                                                  : "all copies in the cache directory are deleted"};
    }
    return call.at_end ? Judgement{Outcome::Cut_Off, "the trace ends within this call"}
                       : Judgement{Outcome::Not_Told, "the end of the call is not in the trace"};
}

Judgement Judge(const Call& call, const Call_Facts& facts) {
    if (call.concluded) {
        return Judge_Concluded(call, facts);
    }
    switch (call.operation) {
    case Operation::Get:
        return Judge_Request(call, facts);
    case Operation::Set_Cache_Directory:
        return Judge_Directory(call, facts);
    case Operation::Clear:
    case Operation::Purge:
        return Judge_Deletion(call, facts);
    case Operation::Start:
        return {Outcome::Done, {}};
    case Operation::Fragment:
        break;
    }
    return {Outcome::Not_Told, "the beginning of the call is not in the trace"};
}

std::string_view Path_Served(const Call& call, const Call_Facts& facts) {
    if (call.operation != Operation::Get) {
        return {};
    }
    if (facts.returned) {
        return facts.result;
    }
    if (call.concluded) {
        return call.outcome == Outcome::Copied ? facts.copy_written : std::string_view();
    }
    return call.outcome == Outcome::Cut_Off || call.outcome == Outcome::Failed ? std::string_view()
                                                                               : Path_Without_Exit(facts);
}

} // namespace

void Determine_Outcome(const Trace& trace, Call& call) {
    const Call_Facts facts = Find_Facts(trace, call);
    if (call.operation == Operation::Fragment && facts.is_request) {
        call.operation = Operation::Get;
    }
    if (call.subject.empty()) {
        // Only "file:" addresses are changed; and what the cache went on with is written in one piece.
        const bool was_changed = facts.asked.starts_with("file:");
        call.subject = facts.normalised.empty() || was_changed ? facts.asked : facts.normalised;
    }
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

} // namespace QEL::FrontEnd::Tool::Trace_Reading
