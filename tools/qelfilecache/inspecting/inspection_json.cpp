#include "tools/qelfilecache/inspecting/inspection_json.h"

#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/inspecting/times.h"
#include "tools/qelfilecache/output.h"
#include "tools/trace_reader/trace_reader.h"
#include "util/Visible_Text.h"

namespace QEL::FrontEnd::Tool {

using nlohmann::ordered_json;

namespace {

ordered_json Time_Or_Null(std::uint64_t moment) {
    const std::string text = Utc_Time_Text(moment);
    return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

// In the order of their enumerations.
constexpr const char* kind_names[] = {"unusable", "local", "web", "share"};
constexpr const char* attempt_names[] = {"not needed", "not allowed", "failed", "succeeded"};

/// What is under "request" repeats the argument.
void Leave_Passwords_Out(ordered_json& json) {
    for (auto& [key, value] : json.items()) {
        if (value.is_structured()) {
            Leave_Passwords_Out(value);
        } else if (value.is_string() && key != "request") {
            value = Util::Without_Passwords(value.get<std::string>());
        }
    }
}

} // namespace

ordered_json To_Json(const FileCache::Inspected_Entry& entry, const std::optional<std::uintmax_t>& size) {
    return {{"url", Host::To_Utf8(entry.url)},
            {"copy", Host::To_Utf8(entry.copy)},
            {"copy_exists", entry.copy_exists},
            {"size", size ? ordered_json(*size) : ordered_json(nullptr)},
            {"last_modified", Host::To_Utf8(entry.last_modified)},
            {"last_checked", Time_Or_Null(entry.last_checked_remotely)},
            {"fresh_until", Time_Or_Null(entry.fresh_until)},
            {"fresh", entry.fresh}};
}

ordered_json To_Json(const FileCache::Inspected_Setting& setting) {
    return {{"name", setting.name},
            {"value", Host::To_Utf8(setting.value)},
            {"source", setting.source.empty() ? ordered_json(nullptr) : ordered_json(Host::To_Utf8(setting.source))},
            {"written", Host::To_Utf8(setting.written)}};
}

ordered_json To_Json(const FileCache::Request_Explanation& explained) {
    ordered_json json = {{"request", Host::To_Utf8(explained.request)},
                         {"kind", kind_names[static_cast<std::size_t>(explained.kind)]},
                         {"normalised", Host::To_Utf8(explained.normalised)},
                         {"entry", nullptr},
                         {"certificate", nullptr}};
    if (explained.entry) {
        json["entry"] = To_Json(*explained.entry, Size_Of_Copy(explained.entry->copy));
    }
    if (explained.kind == FileCache::Request_Explanation::Kind::Web) {
        json["certificate"] = {{"mode", explained.certificate.mode},
                               {"listed", explained.certificate.listed},
                               {"errors_are_ignored", explained.certificate.errors_are_ignored}};
    }
    return json;
}

ordered_json To_Json(const FileCache::Remote_Answer& answer) {
    return {{"answered", answer.answered},
            {"status", answer.status == 0 ? ordered_json(nullptr) : ordered_json(answer.status)},
            {"last_modified", Host::To_Utf8(answer.last_modified)},
            {"unchanged", answer.unchanged},
            {"error", answer.error == 0 ? ordered_json(nullptr) : ordered_json(answer.error)},
            {"error_text", Host::To_Utf8(answer.error_text)},
            {"second_attempt", attempt_names[static_cast<std::size_t>(answer.second)]}};
}

ordered_json To_Json(const FileCache::Response_Details& details) {
    return {{"final_url", Host::To_Utf8(details.final_url)},
            {"content_type", Host::To_Utf8(details.content_type)},
            {"content_length", details.content_length ? ordered_json(*details.content_length) : ordered_json(nullptr)},
            {"age", Host::To_Utf8(details.age)},
            {"via", Host::To_Utf8(details.via)},
            {"refusal", details.refusal == 0 ? ordered_json(nullptr) : ordered_json(details.refusal)}};
}

ordered_json To_Json(const std::vector<Asked>& all_asked) {
    auto json = ordered_json::array();
    for (const Asked& asked : all_asked) {
        ordered_json response = To_Json(asked.answer);
        response.update(To_Json(asked.details));
        response["address"] = asked.address.empty() ? ordered_json(nullptr) : ordered_json(asked.address);
        json.push_back(std::move(response));
    }
    return json;
}

void Write_Json(ordered_json json) {
    Leave_Passwords_Out(json);
    for (auto& object : json) {
        object["schema"] = Trace_Reading::Json_Schema;
    }
    Write_Result(Util::Printable_Json(json.dump(2, ' ', false, ordered_json::error_handler_t::replace)));
}

} // namespace QEL::FrontEnd::Tool
