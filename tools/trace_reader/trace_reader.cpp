#include "tools/trace_reader/trace_reader.h"

#include "tools/trace_reader/records.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

constexpr std::size_t most_records = std::numeric_limits<std::uint32_t>::max() / 2;

/// Line ends become LF, and a mark of UTF-8 goes.
void Normalise(std::string& content) {
    if (content.starts_with("\xEF\xBB\xBF")) {
        content.erase(0, 3);
    }
    auto written = content.begin();
    for (auto read = content.begin(); read != content.end(); ++read) {
        if (*read != '\r' || read + 1 == content.end() || read[1] != '\n') {
            *written++ = *read;
        }
    }
    content.erase(written, content.end());
}

/// Why a content is not a trace, and what to do.
std::string Explain_Refusal(std::string_view content) {
    if (content.empty()) {
        return "the file is empty: its writer died at once, or its disk was full\n"
               "  Next: trace once more, and check the space on the disk of the trace directory.";
    }
    if (content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF")) {
        return "the file is in UTF-16: another program has changed it\n"
               "  Next: name the file as the cache wrote it, or save it as UTF-8.";
    }
    if (content.starts_with("\x1F\x8B") || content.starts_with("PK\x03\x04")) {
        return "the file is compressed\n  Next: unpack it first.";
    }
    return "this is not a trace: it holds neither the heading of one nor a record\n"
           "  Next: give files that the cache wrote, by default named qelfilecache_<process id>.trc.";
}

struct Names {
    std::string_view label;
    std::string_view identifier;
    std::string_view colour;
};

/// Of the outcomes and the operations, in their order.
constexpr std::array<Names, Outcome_Count> outcome_names = {{
    {"failed", "failed", "red"},
    {"old copy", "old_copy", "amber"},
    {"cut off", "cut_off", "amber"},
    {"unknown", "not_told", "amber"},
    {"replaced", "replaced", "blue"},
    {"downloaded", "downloaded", "blue"},
    {"copied", "copied", "blue"},
    {"unchanged", "unchanged", "green"},
    {"fresh copy", "fresh", "green"},
    {"local file", "local", "green"},
    {"left in place", "left_in_place", "grey"},
    {"done", "done", "grey"},
}};
constexpr Names operation_names[] = {
    {"", "get", ""},
    {"Set_Cache_Directory", "set_cache_directory", ""},
    {"Clear", "clear", ""},
    {"Purge_Cache_Folder", "purge", ""},
    {"Instance", "instance", ""},
};

} // namespace

std::string_view Label_Of(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].label;
}

std::string_view Identifier_Of(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].identifier;
}

std::string_view Colour_Of(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].colour;
}

std::string_view Label_Of(Operation operation) {
    return operation_names[static_cast<std::size_t>(operation)].label;
}

std::string_view Identifier_Of(Operation operation) {
    return operation_names[static_cast<std::size_t>(operation)].identifier;
}

std::string Trace_Reader::Add(std::string name, std::string content, std::uint32_t first_line) {
    Normalise(content);
    m_Trace.files.push_back({std::move(name), std::move(content)});
    const bool is_trace = Split_Into_Records(m_Trace, static_cast<std::uint32_t>(m_Trace.files.size() - 1), first_line);
    if (m_Trace.records.size() > most_records) {
        throw std::length_error("the traces hold too many records; give fewer files at once");
    }
    if (is_trace) {
        return {};
    }
    std::string reason = Explain_Refusal(m_Trace.files.back().content);
    m_Trace.files.pop_back();
    return reason;
}

Trace Trace_Reader::Finish() {
    Build_Calls(m_Trace);
    std::vector<Call>& calls = m_Trace.calls;
    // Where every call has a time, those of several processes fall into the order of time.
    if (m_Trace.runs.size() > 1 &&
        std::all_of(calls.begin(), calls.end(), [](const Call& call) { return call.started != No_Time; })) {
        std::stable_sort(calls.begin(), calls.end(),
                         [](const Call& left, const Call& right) { return left.started < right.started; });
    }
    std::uint32_t number = 0;
    for (Call& call : calls) {
        Determine_Outcome(call);
        // A call that only asked for the cache object says nothing, unless it met a problem.
        if (call.operation != Operation::Start || call.worst >= Severity::Warning) {
            call.number = ++number;
        }
    }
    return std::move(m_Trace);
}

} // namespace QEL::FrontEnd::Trace_Reading
