#include "tools/trace_reader/trace_reader.h"

#include "tools/trace_reader/calls.h"
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
        return "the file is in UTF-16: some program has stored it anew\n"
               "  Next: give the file as the cache wrote it, or store it as UTF-8.";
    }
    if (content.starts_with("\x1F\x8B") || content.starts_with("PK\x03\x04")) {
        return "the file is compressed\n  Next: unpack it first.";
    }
    return "this is not a trace: it holds neither the heading of one nor a record\n"
           "  Next: give files that the cache wrote, by default named qelfilecache_<process id>.trc.";
}

/// Brings the records of each call together, in the order in which they were written.
void Order_Records(Trace& trace) {
    for (const Record& record : trace.records) {
        if (record.call != No_Call) {
            ++trace.calls[record.call].record_count;
        }
    }
    std::uint32_t next = 0;
    for (Call& call : trace.calls) {
        call.first_record = next;
        next += std::exchange(call.record_count, 0);
    }
    trace.order.resize(next);
    for (std::uint32_t index = 0; index < trace.records.size(); ++index) {
        if (const auto call_index = trace.records[index].call; call_index != No_Call) {
            Call& call = trace.calls[call_index];
            trace.order[call.first_record + call.record_count++] = index;
        }
    }
}

/// Times and lines of a call, from its records.
void Take_Extent(const Trace& trace, Call& call) {
    for (std::uint32_t index = 0; index < call.record_count; ++index) {
        const Record& record = trace.Record_Of(call, index);
        call.worst = std::max(call.worst, record.severity);
        if (call.first_line == 0) {
            call.first_line = record.line;
        }
        call.last_line = record.line;
        if (record.time != No_Time) {
            if (call.started == No_Time) {
                call.started = record.time;
            }
            call.ended = record.time;
        }
    }
}

/// Where every run has times, calls of several processes fall into the order of time.
void Sort_By_Time(Trace& trace) {
    const bool all_have_times =
        std::all_of(trace.calls.begin(), trace.calls.end(), [](const Call& call) { return call.started != No_Time; });
    if (!all_have_times || trace.runs.size() < 2) {
        return;
    }
    std::stable_sort(trace.calls.begin(), trace.calls.end(),
                     [](const Call& left, const Call& right) { return left.started < right.started; });
    for (std::uint32_t call = 0; call < trace.calls.size(); ++call) {
        for (std::uint32_t index = 0; index < trace.calls[call].record_count; ++index) {
            trace.records[trace.order[trace.calls[call].first_record + index]].call = call;
        }
    }
}

struct Names {
    std::string_view label;
    std::string_view identifier;
};

/// Of the outcomes and the operations, in their order.
constexpr std::array<Names, Outcome_Count> outcome_names = {{
    {"local file", "local"},
    {"fresh copy", "fresh"},
    {"unchanged", "unchanged"},
    {"downloaded", "downloaded"},
    {"copied", "copied"},
    {"replaced", "replaced"},
    {"old copy", "old_copy"},
    {"left in place", "left_in_place"},
    {"done", "done"},
    {"failed", "failed"},
    {"cut off", "cut_off"},
    {"unknown", "not_told"},
}};
constexpr Names operation_names[] = {
    {"", "get"},
    {"Set_Cache_Directory", "set_cache_directory"},
    {"Clear", "clear"},
    {"Purge_Cache_Folder", "purge"},
    {"Instance", "instance"},
};

} // namespace

std::string_view Label_Of(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].label;
}

std::string_view Identifier_Of(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].identifier;
}

std::string_view Label_Of(Operation operation) {
    return operation_names[static_cast<std::size_t>(operation)].label;
}

std::string_view Identifier_Of(Operation operation) {
    return operation_names[static_cast<std::size_t>(operation)].identifier;
}

std::string Trace_Reader::Add(std::string name, std::string content) {
    if (content.empty() || content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF")) {
        return Explain_Refusal(content);
    }
    Normalise(content);
    m_Trace.files.push_back({std::move(name), std::move(content)});
    const bool is_trace = Split_Into_Records(m_Trace, static_cast<std::uint32_t>(m_Trace.files.size() - 1));
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
    Order_Records(m_Trace);
    for (Call& call : m_Trace.calls) {
        Take_Extent(m_Trace, call);
        Determine_Outcome(m_Trace, call);
    }
    Sort_By_Time(m_Trace);
    return std::move(m_Trace);
}

} // namespace QEL::FrontEnd::Trace_Reading
