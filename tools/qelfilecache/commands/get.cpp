#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/Waiting_Note.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/inspecting/inspection_json.h"
#include "tools/qelfilecache/output.h"
#include "tools/qelfilecache/requests/serve.h"

#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

struct Get_Options {
    std::vector<std::string> requests;
    int request_kind = ordinary_request;
    bool force = false;
    bool json = false;
};

nlohmann::ordered_json Outcome_As_Json(const Request_Outcome& outcome) {
    const auto number_or_null = [](const std::optional<std::int64_t>& number) {
        return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json(nullptr);
    };
    const auto unless_zero = [](std::int64_t number) {
        return number == 0 ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(number);
    };
    return {{"request", Host::To_Utf8(outcome.request)},
            {"path", Host::To_Utf8(outcome.path)},
            {"download_error", outcome.download_error},
            {"http_error", number_or_null(outcome.http_error)},
            {"file_share_error", number_or_null(outcome.file_share_error)},
            {"http_status", unless_zero(outcome.last.http_status)},
            {"system_error", unless_zero(outcome.last.system_error)},
            {"additional_error_info", Host::To_Utf8(outcome.additional_error_info)}};
}

Exit_Status Get(const Settings& settings, const Get_Options& options) {
    const Open_Cache opened = Open_For_Requests(settings, options.force);
    const auto request_thread = Host::Prepare_Request_Thread();
    auto reports = nlohmann::ordered_json::array();
    Exit_Status status = Exit_Served;
    for (const std::string& request : options.requests) {
        const Request_Outcome outcome = [&] {
            const Waiting_Note note(request);
            return Serve(*opened.cache, request, options.request_kind);
        }();
        if (options.json) {
            reports.push_back(Outcome_As_Json(outcome));
        } else {
            Write_Result(outcome.path);
        }
        Report(outcome);
        if (outcome.path.empty()) {
            status = Exit_Not_Served;
        }
    }
    if (options.json) {
        Write_Json(reports);
    }
    return status;
}

void Declare_Options(Command_Options& parser, Get_Options& options) {
    parser.Number("--request-kind", "N", {"a whole number"}, options.request_kind,
                  "Kind of the requests, by default 213, an ordinary request;\n"
                  "201 and 202 do not cache a file that is writable on its share");
    parser.Force(options.force);
    parser.Flag("--json", options.json, "Print one array of objects with paths and error codes instead");
    parser.Operands("REQUEST", options.requests, "Web address, file on a share, or local path");
}

constexpr const char* get_help =
    "A line is empty when there is no copy; standard error says why.\n\n"
    "A REQUEST is a web address (http:, https:), a file on a share (\\\\server\\share\\file, "
    "file://server/share/file)\n"
    "or a local path, which is returned unchanged. Put \"--\" before a REQUEST that begins with \"-\".\n\n"
    "Examples:\n"
    "  qelfilecache get https://server.example/landscape.xml\n"
    "  qelfilecache get --json http://server.example/a.xml '\\\\server\\share\\b.xml'\n"
    "  qelfilecache --trace-level 4 --trace-dir traces get https://server.example/landscape.xml";

} // namespace

Command Get_Command() {
    return Make_Command("get", "Print the path of a local copy of each request, one line each", get_help,
                        &Declare_Options, &Get);
}

} // namespace QEL::FrontEnd::Tool
