#include "tools/trace_reader/overview.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

using Json = nlohmann::ordered_json;

Json Text_Or_Null(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json Time_Or_Null(Local_Time time) {
    return time == No_Time ? Json(nullptr) : Json(Date_Text(time) + "T" + Clock_Text(time));
}

Json To_Json(const Record& record) {
    return {{"severity", Severity_Label(record.severity)},
            {"method", record.method},
            {"message", record.text},
            {"line", record.line}};
}

Json Problems_Of(const Call& call) {
    auto problems = Json::array();
    for (const Record* record : call.records) {
        if (record->severity >= Severity::Warning) {
            problems.push_back(To_Json(*record));
        }
    }
    return problems;
}

/// A message outside of calls.
Json Message_To_Json(const Trace& trace, const Record& record) {
    const Run& run = trace.runs[record.run];
    Json message = To_Json(record);
    message["meaning"] = Text_Or_Null(Meaning_Of(record));
    message["time"] = Time_Or_Null(record.time);
    message["process"] = Text_Or_Null(run.process);
    message["thread"] = record.thread;
    message["file"] = trace.files[run.file].name;
    return message;
}

Json To_Json(const Trace& trace, const Call& call) {
    const Run& run = trace.runs[call.run];
    const bool has_duration = call.started != No_Time && call.ended >= call.started;
    return {{"number", call.number},
            {"operation", Identifier_Of(call.operation)},
            {"request", Text_Or_Null(call.subject)},
            {"outcome", Identifier_Of(call.outcome)},
            {"explanation", call.explanation},
            {"path", Text_Or_Null(call.path)},
            {"problems", Problems_Of(call)},
            {"started", Time_Or_Null(call.started)},
            {"seconds", has_duration ? Json(call.ended - call.started) : Json(nullptr)},
            {"process", Text_Or_Null(run.process)},
            {"thread", call.thread},
            {"file", trace.files[run.file].name},
            {"first_line", call.records.front()->line},
            {"last_line", call.records.back()->line}};
}

Json To_Json(const Trace& trace, const Run& run) {
    return {{"file", trace.files[run.file].name},   {"line", run.line},
            {"process", Text_Or_Null(run.process)}, {"program", Text_Or_Null(run.program)},
            {"level", Text_Or_Null(run.level)},     {"has_times", run.has_times}};
}

/// What the trace writer itself complained of.
Json Complaint_To_Json(const Trace& trace, const Record& complaint) {
    return {{"file", trace.files[trace.runs[complaint.run].file].name},
            {"line", complaint.line},
            {"message", complaint.text}};
}

/// In one line; what is not UTF-8 shows as U+FFFD.
std::string Text_Of(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// Writes the elements of an array one by one: the whole may be large.
template <typename Elements, typename Make_Json>
void Write_Array(const std::string& start, const Elements& elements, const std::string& end, const Line_Sink& write,
                 const Make_Json& make_json) {
    write(start + " [");
    std::size_t left = elements.size();
    for (const auto& element : elements) {
        write("    " + Text_Of(make_json(element)) + (--left > 0 ? "," : ""));
    }
    write("  ]" + end);
}

std::vector<const Record*> Messages_Outside(const Trace& trace) {
    std::vector<const Record*> messages;
    for (const Thread_Records& thread : trace.outside) {
        std::copy_if(thread.records.begin(), thread.records.end(), std::back_inserter(messages),
                     [](const Record* record) { return record->severity > Severity::Data; });
    }
    return messages;
}

} // namespace

void Write_Followed_Json(const Trace& trace, const Line_Sink& write) {
    const auto write_object = [&write](Json object) {
        object["schema"] = Json_Schema;
        write(Text_Of(object));
    };
    for (const Call* call : Make_Overview(trace).calls) {
        write_object(To_Json(trace, *call));
    }
    for (const Record* message : Messages_Outside(trace)) {
        write_object(Message_To_Json(trace, *message));
    }
}

void Write_Json_Report(const Trace& trace, const Line_Sink& write) {
    const auto messages = Messages_Outside(trace);
    std::vector<const Record*> complaints;
    for (const Record& record : trace.records) {
        if (record.kind == Record_Kind::Writer) {
            complaints.push_back(&record);
        }
    }
    write("{");
    write("  \"schema\": " + std::to_string(Json_Schema) + ",");
    Write_Array("  \"runs\":", trace.runs, ",", write, [&](const Run& run) { return To_Json(trace, run); });
    Write_Array("  \"complaints\":", complaints, ",", write,
                [&](const Record* complaint) { return Complaint_To_Json(trace, *complaint); });
    Write_Array("  \"calls\":", Make_Overview(trace).calls, ",", write,
                [&](const Call* call) { return To_Json(trace, *call); });
    Write_Array("  \"messages\":", messages, "", write,
                [&](const Record* record) { return Message_To_Json(trace, *record); });
    write("}");
}

} // namespace QEL::FrontEnd::Trace_Reading
