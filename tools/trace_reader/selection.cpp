#include "tools/trace_reader/overview.h"
#include "tools/trace_reader/records.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

bool Is_Trouble(const Call& call) {
    return call.worst == Severity::Error || call.outcome == Outcome::Failed || call.outcome == Outcome::Old_Copy;
}

/// "http://server:80" of an address, "\\\\server" of a path on a share; empty for any other request.
std::string_view Server_Of(std::string_view subject) {
    const auto scheme = subject.find("://");
    const bool is_share = subject.starts_with("\\\\");
    if (scheme == std::string_view::npos && !is_share) {
        return {};
    }
    const auto begin = is_share ? 2 : scheme + 3;
    return subject.substr(0, subject.find_first_of("/\\?#", begin));
}

std::string Today() {
    const std::time_t now = std::time(nullptr);
    std::array<char, 16> date{};
    return {date.data(), std::strftime(date.data(), date.size(), "%Y-%m-%d", std::localtime(&now))};
}

} // namespace

void Keep(Trace& trace, const Call_Filter& filter) {
    if (!filter.Is_Set()) {
        return;
    }
    std::erase_if(trace.calls, [&filter](const Call& call) {
        return (filter.failed && !Is_Trouble(call)) || call.subject.find(filter.subject) == std::string_view::npos ||
               (filter.since != No_Time && (call.started == No_Time || call.started < filter.since));
    });
    trace.outside.clear();
}

bool Has_Messages_Without_Calls(const Trace& trace) {
    return std::ranges::any_of(trace.outside,
                               [&](const Thread_Records& thread) { return !trace.runs[thread.run].has_entries; });
}

std::optional<Local_Time> Time_In(std::string text, const Trace& trace) {
    constexpr std::size_t day = 10; // characters
    constexpr std::size_t hour = 13;
    constexpr std::size_t minute = 16;
    constexpr std::size_t second = 19;
    if (text.find('-') == std::string::npos) {
        Local_Time last = No_Time;
        for (const Call& call : trace.calls) {
            last = std::max(last, call.started);
        }
        text.insert(0, (last == No_Time ? Today() : Date_Text(last)) + " ");
    }
    text += text.size() == day ? " 00:00:00" : text.size() == hour ? ":00:00" : text.size() == minute ? ":00" : "";
    Local_Time moment = No_Time;
    const bool is_time = text.size() == second && text[4] == '-' && text[7] == '-' &&
                         (text[day] == ' ' || text[day] == 'T') &&
                         Parse_Time_Stamp("(" + text.substr(8, 2) + "." + text.substr(5, 2) + "." + text.substr(2, 2) +
                                              " " + text.substr(day + 1) + ") ",
                                          moment);
    const bool exists = is_time && Date_Text(moment) + text[day] + Clock_Text(moment) == text; // 25:99 does not
    return exists ? std::optional(moment) : std::nullopt;
}

void Write_Summary(const Trace& trace, const Line_Sink& write) {
    std::map<std::pair<std::string, std::string>, std::size_t> counts;
    for (const Call& call : trace.calls) {
        if (call.operation == Operation::Get) {
            std::string cause(Label_Of(call.outcome));
            cause += Is_Trouble(call) && !call.explanation.empty() ? ": " + call.explanation : "";
            ++counts[{std::string(Server_Of(call.subject)), std::move(cause)}];
        }
    }
    std::vector<std::pair<std::size_t, std::pair<std::string, std::string>>> rows;
    for (const auto& [group, count] : counts) {
        rows.emplace_back(count, group);
    }
    std::ranges::stable_sort(rows, [](const auto& left, const auto& right) { return left.first > right.first; });
    for (const auto& [count, group] : rows) {
        const auto& [server, cause] = group;
        write(Util::Fit(std::to_string(count), 6) + "  " + Util::Printable(server.empty() ? "(local)" : server) + "  " +
              Util::Printable(In_One_Line(cause)));
    }
}

} // namespace QEL::FrontEnd::Trace_Reading
