#pragma once

#include "tools/trace_reader/trace_reader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What all reports of a trace begin with.
namespace QEL::FrontEnd::Trace_Reading {

/// A thread of a process: calls on the same one follow each other.
struct Lane {
    std::uint32_t run = 0;
    std::int32_t thread = 0;
    std::string label;     ///< as short as the trace allows, such as "4711" or "pc1/4711"
    std::string_view file; ///< its whole name
};

struct Overview {
    std::vector<const Call*> calls;  ///< those with a number, in order
    std::vector<const Call*> errors; ///< of these, those that met errors
    std::vector<const Call*> others; ///< and those that met none
    std::vector<Lane> lanes;
    std::map<std::pair<std::uint32_t, std::int32_t>, std::size_t> lane_of_thread; ///< by run and thread
    std::array<std::size_t, Outcome_Count> outcomes{};                            ///< of requests
    std::size_t requests = 0;
    std::size_t other_calls = 0;
    std::size_t processes = 0;
    Local_Time first = No_Time;
    Local_Time last = No_Time;
    std::size_t messages_outside = 0; ///< errors, warnings and notes

    bool Has_Times() const { return first != No_Time; }
    std::size_t Lane_Of(const Call& call) const { return lane_of_thread.at({call.run, call.thread}); }
};

/// How many errors, warnings and notes they hold.
std::size_t Messages_In(const Thread_Records& thread);

Overview Make_Overview(const Trace& trace);

/// "2026-11-21"
std::string Date_Text(Local_Time time);

/// "10:20:16"
std::string Clock_Text(Local_Time time);

/// How long a call took: "3 s", "<1 s"; empty when the trace does not say. Time stamps have whole
/// seconds, so a call of a moment may seem to take one.
std::string Duration_Text(const Call& call);

/// "12 requests and 4 other calls in 3 files of 3 processes", and when.
std::string Summary_Text(const Trace& trace, const Overview& overview);

/// "3 failed, 1 old copy", the failed ones first.
std::string Outcomes_Text(const Overview& overview);

/// What is peculiar about the trace and should be known to its reader, a sentence each.
std::vector<std::string> Remarks(const Trace& trace, const Overview& overview);

/// A call in a word: what was requested, or the operation and its directory.
std::string Title_Of(const Call& call);

/// Where the records of a call stand: "qelfilecache_4711.trc, lines 7 to 12".
std::string Place_Of(const Trace& trace, const Call& call);

/// The severity as it is written in reports.
std::string_view Severity_Label(Severity severity);

/// A text of several lines in one.
std::string In_One_Line(std::string_view text);

} // namespace QEL::FrontEnd::Trace_Reading
