#include "tools/trace_reader/overview.h"

#include "tools/trace_reader/records.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

constexpr Outcome outcomes_by_weight[] = {
    Outcome::Failed,   Outcome::Old_Copy,   Outcome::Cut_Off,       Outcome::Unknown,
    Outcome::Replaced, Outcome::Downloaded, Outcome::Copied,        Outcome::Unchanged,
    Outcome::Fresh,    Outcome::Local,      Outcome::Left_In_Place, Outcome::Done,
};

std::string Counted(std::size_t count, std::string_view singular, std::string_view plural) {
    return std::to_string(count).append(" ").append(count == 1 ? singular : plural);
}

std::string_view File_Name(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

/// A call that only asked for the cache object says nothing, unless it met a problem.
bool Is_Worth_A_Line(const Call& call) {
    return call.operation != Operation::Start || call.worst >= Severity::Warning;
}

std::string Process_Of(const Trace& trace, const Run& run) {
    return std::string(run.process.empty() ? File_Name(trace.files[run.file].name) : run.process);
}

/// Lanes are named by their process, and by their thread where a process has several.
void Name_Lanes(const Trace& trace, std::vector<Lane>& lanes) {
    std::map<std::uint32_t, int> threads_of_run;
    for (const Lane& lane : lanes) {
        ++threads_of_run[lane.run];
    }
    std::map<std::string, int> lanes_of_label;
    for (Lane& lane : lanes) {
        lane.label = Process_Of(trace, trace.runs[lane.run]);
        if (threads_of_run[lane.run] > 1) {
            lane.label += "/" + std::to_string(lane.thread);
        }
        // The same process in another run, say after its trace was started afresh.
        if (const int seen = ++lanes_of_label[lane.label]; seen > 1) {
            lane.label += " #" + std::to_string(seen);
        }
    }
}

} // namespace

Overview Make_Overview(const Trace& trace) {
    Overview overview;
    std::map<std::pair<std::uint32_t, std::int32_t>, std::uint32_t> lane_numbers;
    std::uint32_t number = 0;
    overview.lane_of_call.reserve(trace.calls.size());
    for (std::uint32_t index = 0; index < trace.calls.size(); ++index) {
        const Call& call = trace.calls[index];
        const auto [lane, is_new] = lane_numbers.try_emplace({call.run, call.thread}, overview.lanes.size());
        if (is_new) {
            overview.lanes.push_back({call.run, call.thread, {}});
        }
        overview.lane_of_call.push_back(lane->second);
        if (!Is_Worth_A_Line(call)) {
            overview.numbers.push_back(0);
            continue;
        }
        overview.numbers.push_back(++number);
        (call.worst == Severity::Error ? overview.errors : overview.others).push_back(index);
        if (call.operation == Operation::Get) {
            ++overview.requests;
            ++overview.outcomes[static_cast<std::size_t>(call.outcome)];
        } else {
            ++overview.other_calls;
        }
        if (call.started != No_Time) {
            overview.first = overview.Has_Times() ? std::min(overview.first, call.started) : call.started;
            overview.last = std::max(overview.last, std::max(call.started, call.ended));
        }
    }
    std::set<std::string> processes;
    for (const Run& run : trace.runs) {
        processes.insert(Process_Of(trace, run));
    }
    overview.processes = processes.size();
    for (const std::uint32_t index : trace.outside) {
        const Record& record = trace.records[index];
        auto& threads = overview.outside;
        if (threads.empty() || threads.back().run != record.run || threads.back().thread != record.thread) {
            threads.push_back({record.run, record.thread, {}, Severity::Data});
        }
        threads.back().records.push_back(index);
        threads.back().worst = std::max(threads.back().worst, record.severity);
        overview.messages_outside += record.severity > Severity::Data ? 1 : 0;
    }
    Name_Lanes(trace, overview.lanes);
    return overview;
}

std::vector<std::uint32_t> Overview::Calls() const {
    std::vector<std::uint32_t> calls;
    std::merge(errors.begin(), errors.end(), others.begin(), others.end(), std::back_inserter(calls));
    return calls;
}

std::span<const Outcome> Outcomes_By_Weight() {
    return outcomes_by_weight;
}

std::string Date_Text(Local_Time time) {
    const auto day = std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(time)));
    const std::chrono::year_month_day date(day);
    char text[24];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text;
}

std::string Clock_Text(Local_Time time) {
    constexpr int seconds_a_day = 86400;
    const int second = static_cast<int>(((time % seconds_a_day) + seconds_a_day) % seconds_a_day);
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", second / 3600, second / 60 % 60, second % 60);
    return text;
}

std::string Duration_Text(const Call& call) {
    if (call.started == No_Time || call.ended < call.started) {
        return {}; // without times, or over a change of the clock
    }
    const Local_Time seconds = call.ended - call.started;
    if (seconds == 0) {
        return "<1 s";
    }
    return seconds < 120 ? std::to_string(seconds) + " s"
                         : std::to_string(seconds / 60) + " min " + std::to_string(seconds % 60) + " s";
}

std::string Summary_Text(const Trace& trace, const Overview& overview) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : " and ") + part; };
    if (overview.requests > 0 || (overview.other_calls == 0 && overview.messages_outside == 0)) {
        add(Counted(overview.requests, "request", "requests"));
    }
    if (overview.other_calls > 0) {
        add(Counted(overview.other_calls, "other call", "other calls"));
    }
    if (overview.messages_outside > 0) {
        add(Counted(overview.messages_outside, "message", "messages") + " outside of calls");
    }
    text += " in " + Counted(trace.files.size(), "file", "files") + " of " +
            Counted(overview.processes, "process", "processes");
    if (overview.Has_Times()) {
        const bool same_day = Date_Text(overview.first) == Date_Text(overview.last);
        text += ", " + Date_Text(overview.first) + " " + Clock_Text(overview.first) + " to " +
                (same_day ? "" : Date_Text(overview.last) + " ") + Clock_Text(overview.last);
    }
    return text;
}

std::string Outcomes_Text(const Overview& overview) {
    std::string text;
    for (const Outcome outcome : outcomes_by_weight) {
        if (const auto count = overview.outcomes[static_cast<std::size_t>(outcome)]; count > 0) {
            text.append(text.empty() ? "" : ", ").append(std::to_string(count)).append(" ");
            text.append(Label_Of(outcome));
        }
    }
    return text;
}

std::vector<std::string> Remarks(const Trace& trace, const Overview& overview) {
    std::vector<std::string> remarks;
    if (std::any_of(trace.outside.begin(), trace.outside.end(),
                    [&](std::uint32_t index) { return !trace.runs[trace.records[index].run].has_entries; })) {
        remarks.emplace_back(
            "A trace of level 1 to 3 does not record where calls begin and end, so there are no calls to "
            "show for it, only its messages by thread. Trace with level 4 or 5 to see each call.");
    }
    if (overview.requests > 0 && !overview.Has_Times()) {
        remarks.emplace_back("The trace has no time stamps; one of level 5 has.");
    }
    if (std::any_of(trace.records.begin(), trace.records.end(),
                    [](const Record& record) { return record.incomplete; })) {
        remarks.emplace_back("Several threads wrote at the same time or the file is cut off: some records are "
                             "incomplete.");
    }
    for (const Record& record : trace.records) {
        if (record.kind == Record_Kind::Writer) {
            remarks.push_back("The trace writer complained: " + In_One_Line(record.text));
            break; // one stands for all
        }
    }
    return remarks;
}

std::string Title_Of(const Call& call) {
    std::string title(Label_Of(call.operation));
    if (!call.subject.empty()) {
        title.append(title.empty() ? "" : " ").append(call.subject);
    }
    return title.empty() ? "(empty request)" : title;
}

std::string Place_Of(const Trace& trace, const Call& call) {
    const std::string first = std::to_string(call.first_line);
    return trace.files[trace.runs[call.run].file].name +
           (call.first_line == call.last_line ? ", line " + first
                                              : ", lines " + first + " to " + std::to_string(call.last_line));
}

std::string_view Severity_Label(Severity severity) {
    switch (severity) {
    case Severity::Error:
        return "error";
    case Severity::Warning:
        return "warning";
    case Severity::Note:
        return "note";
    case Severity::Data:
        break;
    }
    return "data";
}

std::string In_One_Line(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto part = Without_Blanks(text.substr(0, end));
        if (part.find_first_not_of('=') != std::string_view::npos) { // more than a rule
            line.append(line.empty() ? "" : " ").append(part);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return line;
}

} // namespace QEL::FrontEnd::Trace_Reading
