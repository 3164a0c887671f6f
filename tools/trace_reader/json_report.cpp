#include "tools/trace_reader/json_report.h"

#include "tools/trace_reader/call_names.h"
#include "tools/trace_reader/utf8_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

using Json = nlohmann::ordered_json;

Json Text_Or_Null(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(Utf8_Text(text));
}

Json Time_Or_Null(Local_Clock_Time time) {
    return time == No_Time ? Json(nullptr) : Json(Date_Text(time) + "T" + Clock_Text(time));
}

Json Problems_Of(const Trace& trace, const Call& call) {
    auto problems = Json::array();
    for (std::uint32_t index = 0; index < call.record_count; ++index) {
        const Record& record = trace.Record_Of(call, index);
        if (record.severity >= Severity::Warning) {
            problems.push_back({{"severity", Severity_Label(record.severity)},
                                {"method", Utf8_Text(record.method)},
                                {"message", Utf8_Text(record.text)},
                                {"line", record.line}});
        }
    }
    return problems;
}

Json To_Json(const Trace& trace, const Overview& overview, std::uint32_t index) {
    const Call& call = trace.calls[index];
    const Run& run = trace.runs[call.run];
    const bool has_duration = call.started != No_Time && call.ended >= call.started;
    return {{"number", overview.numbers[index]},
            {"operation", Operation_Identifier(call.operation)},
            {"request", Text_Or_Null(call.subject)},
            {"outcome", Outcome_Identifier(call.outcome)},
            {"explanation", Utf8_Text(call.explanation)},
            {"path", Text_Or_Null(call.path)},
            {"problems", Problems_Of(trace, call)},
            {"started", Time_Or_Null(call.started)},
            {"seconds", has_duration ? Json(call.ended - call.started) : Json(nullptr)},
            {"process", Text_Or_Null(run.process)},
            {"thread", call.thread},
            {"file", Utf8_Text(trace.files[run.file].name)},
            {"first_line", call.first_line},
            {"last_line", call.last_line}};
}

Json To_Json(const Trace& trace, const Run& run) {
    return {{"file", Utf8_Text(trace.files[run.file].name)},
            {"line", run.line},
            {"process", Text_Or_Null(run.process)},
            {"program", Text_Or_Null(run.program)},
            {"level", Text_Or_Null(run.level)},
            {"has_times", run.has_times}};
}

/// What the trace writer itself complained of.
Json To_Json(const Trace& trace, const Record& complaint) {
    return {{"file", Utf8_Text(trace.files[trace.runs[complaint.run].file].name)},
            {"line", complaint.line},
            {"message", Utf8_Text(complaint.text)}};
}

/// Writes the elements of an array one by one: the whole may be large.
template <typename Make_Element>
void Write_Array(const std::string& start, std::size_t count, const std::string& end, const Line_Sink& write,
                 const Make_Element& make_element) {
    write(start + " [");
    for (std::size_t index = 0; index < count; ++index) {
        write("    " + make_element(index).dump() + (index + 1 < count ? "," : ""));
    }
    write("  ]" + end);
}

} // namespace

void Write_Json_Report(const Trace& trace, const Overview& overview, const Line_Sink& write) {
    std::vector<std::uint32_t> calls(overview.errors.size() + overview.others.size());
    std::merge(overview.errors.begin(), overview.errors.end(), overview.others.begin(), overview.others.end(),
               calls.begin());
    std::vector<const Record*> complaints;
    for (const Record& record : trace.records) {
        if (record.kind == Record_Kind::Writer) {
            complaints.push_back(&record);
        }
    }
    write("{");
    Write_Array("  \"runs\":", trace.runs.size(), ",", write,
                [&](std::size_t index) { return To_Json(trace, trace.runs[index]); });
    Write_Array("  \"complaints\":", complaints.size(), ",", write,
                [&](std::size_t index) { return To_Json(trace, *complaints[index]); });
    Write_Array("  \"calls\":", calls.size(), "", write,
                [&](std::size_t index) { return To_Json(trace, overview, calls[index]); });
    write("}");
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
