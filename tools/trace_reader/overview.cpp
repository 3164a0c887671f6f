#include "tools/trace_reader/overview.h"

#include "tools/trace_reader/records.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

std::string_view File_Name(std::string_view path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

using Strings = std::vector<std::string>;

/// What all begin with, as far as its last slash.
void Remove_Common_Start(Strings& folders) {
    std::string_view common = folders.front();
    for (const std::string& folder : folders) {
        common = {common.begin(), std::ranges::mismatch(common, folder).in1};
    }
    const auto end = common.rfind('/');
    std::ranges::for_each(folders, [end](std::string& folder) { folder.erase(0, end); });
}

/// The folder of each file, without what all begin and end with: "pc1/" and "pc2/".
Strings Distinguishing_Folders(const Trace& trace) {
    Strings folders;
    for (const auto& file : trace.files) {
        folders.push_back("/" + file.name.substr(0, file.name.size() - File_Name(file.name).size()));
        std::ranges::replace(folders.back(), '\\', '/');
    }
    for (int end = 0; end < 2; ++end) {
        Remove_Common_Start(folders);
        std::ranges::for_each(folders, [](std::string& folder) { std::ranges::reverse(folder); });
    }
    std::ranges::for_each(folders, [](std::string& folder) { folder.erase(0, 1); });
    return folders;
}

/// The names that runs of several files have.
std::set<std::string> Shared(const Trace& trace, const Strings& names) {
    std::map<std::string, std::uint32_t> files;
    std::set<std::string> shared;
    for (std::size_t run = 0; run < names.size(); ++run) {
        if (files.try_emplace(names[run], trace.runs[run].file).first->second != trace.runs[run].file) {
            shared.insert(names[run]);
        }
    }
    return shared;
}

/// Of each run: its id, or its file where that is unknown. The folder precedes them where processes of several
/// machines have the same id.
Strings Process_Labels(const Trace& trace) {
    Strings labels;
    for (const Run& run : trace.runs) {
        labels.emplace_back(run.process.empty() ? File_Name(trace.files[run.file].name) : run.process);
    }
    if (Shared(trace, labels).empty()) {
        return labels;
    }
    const Strings folders = Distinguishing_Folders(trace);
    for (std::size_t run = 0; run < labels.size(); ++run) {
        labels[run].insert(0, folders[trace.runs[run].file]);
    }
    const auto shared = Shared(trace, labels);
    for (std::size_t run = 0; run < labels.size(); ++run) {
        if (shared.contains(labels[run])) {
            const auto file = trace.runs[run].file;
            labels[run] = folders[file] + std::string(File_Name(trace.files[file].name));
        }
    }
    return labels;
}

/// Lanes are named by their process, and by their thread where a process has several.
void Name_Lanes(const Strings& processes, std::vector<Lane>& lanes) {
    std::map<std::uint32_t, int> threads_of_run;
    for (const Lane& lane : lanes) {
        ++threads_of_run[lane.run];
    }
    std::map<std::string, int> lanes_of_label;
    for (Lane& lane : lanes) {
        lane.label = processes[lane.run];
        if (threads_of_run[lane.run] > 1) {
            lane.label += "/" + std::to_string(lane.thread);
        }
        // The same process in another run, say after its trace was started afresh.
        if (const int seen = ++lanes_of_label[lane.label]; seen > 1) {
            lane.label += " #" + std::to_string(seen);
        }
    }
}

std::string Formatted_Time(std::time_t time, const char* format) {
    std::array<char, 16> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, std::gmtime(&time))};
}

} // namespace

std::size_t Messages_In(const Thread_Records& thread) {
    return static_cast<std::size_t>(
        std::ranges::count_if(thread.records, [](const Record* record) { return record->severity > Severity::Data; }));
}

Overview Make_Overview(const Trace& trace) {
    Overview overview;
    for (const Call& call : trace.calls) {
        if (overview.lane_of_thread.try_emplace({call.run, call.thread}, overview.lanes.size()).second) {
            overview.lanes.push_back({call.run, call.thread, {}, trace.files[trace.runs[call.run].file].name});
        }
        if (call.number == 0) {
            continue;
        }
        overview.calls.push_back(&call);
        (call.worst == Severity::Error ? overview.errors : overview.others).push_back(&call);
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
    const Strings processes = Process_Labels(trace);
    overview.processes = std::set<std::string>(processes.begin(), processes.end()).size();
    for (const Thread_Records& thread : trace.outside) {
        overview.messages_outside += Messages_In(thread);
    }
    Name_Lanes(processes, overview.lanes);
    return overview;
}

std::string Date_Text(Local_Time time) {
    return Formatted_Time(time, "%Y-%m-%d");
}

std::string Clock_Text(Local_Time time) {
    return Formatted_Time(time, "%H:%M:%S");
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
        add(Util::Counted(overview.requests, "request"));
    }
    if (overview.other_calls > 0) {
        add(Util::Counted(overview.other_calls, "other call"));
    }
    if (overview.messages_outside > 0) {
        add(Util::Counted(overview.messages_outside, "message") + " outside of calls");
    }
    text += " in " + Util::Counted(trace.files.size(), "file") + " of " +
            Util::Counted(overview.processes, "process", "processes");
    if (overview.Has_Times()) {
        const bool same_day = Date_Text(overview.first) == Date_Text(overview.last);
        text += ", " + Date_Text(overview.first) + " " + Clock_Text(overview.first) + " to " +
                (same_day ? "" : Date_Text(overview.last) + " ") + Clock_Text(overview.last);
    }
    return text;
}

std::string Outcomes_Text(const Overview& overview) {
    std::string text;
    for (std::size_t outcome = 0; outcome < Outcome_Count; ++outcome) {
        if (const auto count = overview.outcomes[outcome]; count > 0) {
            text.append(text.empty() ? "" : ", ").append(std::to_string(count)).append(" ");
            text.append(Label_Of(static_cast<Outcome>(outcome)));
        }
    }
    return text;
}

std::vector<std::string> Remarks(const Trace& trace, const Overview& overview) {
    std::vector<std::string> remarks;
    if (Has_Messages_Without_Calls(trace)) {
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
    if (!title.empty()) {
        return title;
    }
    return call.records.front()->text.find("url=''") == std::string_view::npos ? "(unknown request)"
                                                                               : "(empty request)";
}

std::string Place_Of(const Trace& trace, const Call& call) {
    const std::string first = std::to_string(call.records.front()->line);
    const std::string last = std::to_string(call.records.back()->line);
    return trace.files[trace.runs[call.run].file].name +
           (first == last ? ", line " + first : ", lines " + first + " to " + last);
}

std::string_view Severity_Label(Severity severity) {
    constexpr std::string_view labels[] = {"data", "note", "warning", "error"};
    return labels[static_cast<std::size_t>(severity)];
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
