#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "tools/qelfilecache/Waiting_Note.h"
#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/inspecting/explanation.h"
#include "tools/qelfilecache/inspecting/inspection_json.h"
#include "tools/qelfilecache/output.h"
#include "tools/qelfilecache/requests/serve.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

struct Explain_Options {
    std::vector<std::string> requests;
    int request_kind = ordinary_request;
    bool check = false;
    bool json = false;
};

using Inspected_Settings = std::vector<FileCache::Inspected_Setting>;

FileCache::Inspected_Setting Setting(const Inspected_Settings& settings, const std::string& name) {
    const auto found =
        std::find_if(settings.begin(), settings.end(), [&name](const auto& setting) { return setting.name == name; });
    return found == settings.end() ? FileCache::Inspected_Setting{name, {}, {}, {}} : *found;
}

std::string Host_Of(const std::string& url) {
    const auto begin = url.find("//") + 2;
    return url.substr(std::min(begin, url.size()), url.find_first_of(":/?#", begin) - begin);
}

Asked Ask(const FileCache::Cache_Inspection& cache, const Explained_Request& explained, const std::string& address) {
    Asked asked;
    asked.address = address;
    asked.answer = cache.Ask_Remote_Side(explained.request, asked.details, address);
    return asked;
}

/// Asks a web server that has responded twice more, and each of its addresses: another server may be behind them.
void Ask_Again(const FileCache::Cache_Inspection& cache, Explained_Request& explained) {
    constexpr std::size_t times = 3;
    constexpr std::size_t most_addresses = 8;
    if (explained.request.kind != FileCache::Request_Explanation::Kind::Web || !Has_Responded(*explained.remote)) {
        return;
    }
    explained.asked = {{{}, *explained.remote, explained.details}};
    while (explained.asked.size() < times && Has_Responded(explained.asked.back().answer)) {
        explained.asked.push_back(Ask(cache, explained, {}));
    }
    auto addresses = FileCache::Cache_Inspection::Addresses_Of(explained.request.normalised);
    if (explained.proxy && !explained.proxy->value.empty()) {
        explained.not_asked = "Its addresses cannot be asked one by one, because the proxy chooses between them.";
    } else if (addresses.empty()) {
        explained.not_asked = "Its addresses cannot be asked one by one on this system.";
    } else if (addresses.size() > most_addresses) {
        explained.not_asked =
            std::to_string(addresses.size() - most_addresses) + " more of its addresses were not asked.";
        addresses.resize(most_addresses);
    } else if (addresses.size() > 1 && Host_Of(explained.details.final_url) != Host_Of(explained.request.normalised)) {
        explained.not_asked = "The addresses of the server that it redirects to were not asked one by one.";
    }
    for (std::size_t i = 0; addresses.size() > 1 && i < addresses.size(); ++i) {
        const Waiting_Note note(addresses[i]);
        explained.asked.push_back(Ask(cache, explained, addresses[i]));
    }
}

/// The variables of Linux that seem to be in use, in sentences that each begin with a blank.
std::string Note_On_Proxy(const std::string& url, const FileCache::Inspected_Setting& proxy) {
    const auto is_set = [](const char* name) {
        const char* const value = std::getenv(name);
        return value != nullptr && *value != '\0';
    };
    const bool is_variables = proxy.source.find('_') != std::string::npos;
    std::string note;
    if (url.starts_with("http:") && (is_variables || proxy.source.empty()) && !is_set("http_proxy") &&
        is_set("HTTP_PROXY")) {
        note = " HTTP_PROXY is set, but ignored; set http_proxy.";
    }
    if (is_variables && !proxy.value.empty() && (is_set("no_proxy") || is_set("NO_PROXY"))) {
        note += std::string(is_set("no_proxy") ? " no_proxy" : " NO_PROXY") +
                " does not exempt the server; it takes names and addresses without http:// and port.";
    }
    return note;
}

Explained_Request Look_Into(const FileCache::Cache_Inspection& cache, const std::string& request,
                            const Inspected_Settings& settings, const Explain_Options& options) {
    Explained_Request explained;
    explained.request = cache.Explain(request);
    explained.is_valid = FileCache::Cache_Inspection::Is_Valid(request);
    if (explained.request.kind == FileCache::Request_Explanation::Kind::Web) {
        explained.proxy = FileCache::Cache_Inspection::Proxy_For(explained.request.normalised);
        if (explained.proxy) {
            explained.proxy_note = Note_On_Proxy(explained.request.normalised, *explained.proxy);
        }
    }
    if (options.check) {
        const Waiting_Note note(request);
        explained.left_in_place =
            explained.is_valid && FileCache::Cache_Inspection::Is_Left_In_Place(request, options.request_kind);
        explained.remote = cache.Ask_Remote_Side(explained.request, explained.details);
        Ask_Again(cache, explained);
    }
    explained.expiry_period = Setting(settings, "LandscapeCacheExpiryPeriod");
    explained.server_retry = Setting(settings, "LandscapeServerRetryAfter");
    explained.certificate_mode = Setting(settings, "CertErrorHandlingMode");
    std::copy_if(settings.begin(), settings.end(), std::back_inserter(explained.authorities),
                 [](const auto& setting) { return setting.name.starts_with("SSL_CERT_"); });
    if (explained.request.local_file_exists) {
        explained.copy_fault = Fault_Of_File(explained.request.normalised);
    }
    if (explained.request.entry) {
        const std::string& copy = explained.request.entry->copy;
        explained.copy_fault = Fault_Of_Copy(copy);
        explained.copy_size = Size_Of_Copy(copy);
        const bool may_differ =
            explained.copy_size && !explained.Is_Share() && explained.details.content_length != explained.copy_size;
        explained.copy_length = may_differ ? Length_As_Sent(copy) : explained.copy_size;
    }
    return explained;
}

/// A text in lines of the terminal's width, further lines below the first one's text.
std::string Wrapped(const std::string& first_indent, const std::string& text) {
    constexpr std::size_t least = 40;
    const auto width = Terminal::Width();
    const auto columns = width ? std::max(*width, least) - first_indent.size() : text.size();
    std::string lines;
    for (const std::string_view line : Util::Wrapped(text, columns, false)) {
        lines += lines.empty() ? first_indent : '\n' + std::string(first_indent.size(), ' ');
        lines += line;
    }
    return lines;
}

void Write_Explanation(const std::string& request, const Explanation& explanation) {
    const bool colours = Terminal::Colours(stdout);
    const auto emphasised = [colours](const std::string& text) {
        return colours ? "\x1B[1m" + text + "\x1B[0m" : text;
    };
    Write_Result(emphasised(Util::Printable(request)));
    int number = 0;
    for (const std::string& step : explanation.steps) {
        Write_Result(Wrapped("  " + std::to_string(++number) + ". ", step));
    }
    Write_Result(emphasised(Wrapped("  => ", "The request " + explanation.verdict)));
}

/// False: nothing would be served, for certain.
bool Is_Served(const Explanation& explanation) {
    using Trace_Reading::Outcome;
    return explanation.expected != Outcome::Failed && explanation.expected != Outcome::Left_In_Place;
}

nlohmann::ordered_json Report_On(const Explained_Request& explained, const Explanation& explanation,
                                 const Inspected_Settings& settings) {
    nlohmann::ordered_json json = To_Json(explained.request);
    if (!explained.copy_of.empty()) {
        json["request"] = Host::To_Utf8(explained.copy_of);
    }
    json["proxy"] = nullptr;
    if (explained.proxy) {
        json["proxy"] = {{"address", Host::To_Utf8(explained.proxy->value)}, {"source", explained.proxy->source}};
    }
    json["remote"] = nullptr;
    if (explained.remote) {
        json["remote"] = To_Json(*explained.remote);
        json["remote"].update(To_Json(explained.details));
        json["remote"]["asked"] = To_Json(explained.asked);
        json["remote"]["differs"] = Difference_Between_Responses(explained) != Difference::None;
        json["remote"]["not_asked"] = explained.not_asked;
    }
    json["out_of_date"] = Is_Out_Of_Date(explained);
    json["settings"] = nlohmann::ordered_json::array();
    for (const auto& setting : settings) {
        json["settings"].push_back(To_Json(setting));
    }
    json["steps"] = nlohmann::ordered_json::array();
    for (const std::string& step : explanation.steps) {
        json["steps"].push_back(Host::To_Utf8(step));
    }
    json["verdict"] = Host::To_Utf8(explanation.verdict);
    json["expected"] = explanation.expected ? Trace_Reading::Identifier_Of(*explanation.expected) : "depends";
    json["served"] = Is_Served(explanation);
    return json;
}

/// The path of a file that may be gone, without links and in one spelling.
std::filesystem::path Plain_Path(const std::string& path) {
    std::error_code no_path;
    const auto absolute = std::filesystem::absolute(Host::To_Path(path), no_path).lexically_normal();
    return Host::Resolved(absolute.parent_path()) / absolute.filename();
}

Exit_Status Explain_Requests(const Settings& settings, const Explain_Options& options) {
    const Open_Inspection opened = Inspect_Cache(settings);
    const auto request_thread = Host::Prepare_Request_Thread();
    const Inspected_Settings configured = opened.cache->Settings();
    const Advice directory_problem = Why_No_Copy_Fits(opened.directory);
    const std::string refusal_of_get = Why_Get_Refuses(opened.directory);
    const bool copies_will_go = Would_Lose_Copies(opened.directory);
    const std::string cache = Name_Of_Cache(opened.directory);
    const auto faults = FileCache::Cache_Inspection::Configuration_Faults();
    const auto entries = opened.cache->Entries();
    const auto copies =
        opened.directory.empty() ? std::vector<std::filesystem::path>() : Cached_Copies(opened.directory);
    auto reports = nlohmann::ordered_json::array();
    Exit_Status status = Exit_Served;
    for (const std::string& request : options.requests) {
        const auto path = Plain_Path(request);
        std::error_code ignored;
        const bool is_as_listed = Host::To_Path(request) == path.filename() && !std::filesystem::exists(path, ignored);
        const auto own = std::ranges::find_if(entries, [&](const auto& entry) {
            return Host::To_Path(entry.copy).filename() == path.filename() &&
                   (is_as_listed || Plain_Path(entry.copy) == path);
        });
        Explained_Request explained =
            Look_Into(*opened.cache, own == entries.end() ? request : own->url, configured, options);
        explained.copy_of = own == entries.end() ? "" : request;
        explained.is_stray_copy =
            own == entries.end() && std::ranges::any_of(copies, [&](const auto& copy) {
                return copy.filename() == path.filename() && (is_as_listed || Plain_Path(Host::To_Text(copy)) == path);
            });
        explained.directory_problem = directory_problem;
        explained.refusal_of_get = refusal_of_get;
        explained.copies_will_go = copies_will_go;
        explained.cache = cache;
        explained.faults = faults;
        if (!opened.cache->Metadata_Is_Sound()) {
            explained.list_fault =
                Fault_Of_Unsound_List(opened.directory, ", and before the damage there is no entry for it",
                                      ", so it is unknown whether there is an entry for it");
        }
        const Explanation explanation = Explain(explained);
        if (options.json) {
            reports.push_back(Report_On(explained, explanation, configured));
        } else {
            Write_Explanation(request, explanation);
        }
        if (!Is_Served(explanation)) {
            status = Exit_Not_Served;
        } else if (status == Exit_Served && Is_Out_Of_Date(explained)) {
            status = Exit_Out_Of_Date;
        }
    }
    if (options.json) {
        Write_Json(reports);
    }
    return status;
}

void Declare_Options(Command_Options& parser, Explain_Options& options) {
    parser.Flag("--check", options.check, "Ask the server or the share too, and show its response");
    parser.Number("--request-kind", "N", {"a whole number"}, options.request_kind,
                  "With --check: kind of the requests, by default 213, an ordinary request;\n"
                  "201 and 202 do not cache a file that is writable on its share");
    parser.Flag("--json", options.json, "Print one array of objects instead, with all that is known");
    parser.Operands("REQUEST", options.requests, "Web address, file on a share, or local path");
}

constexpr const char* explain_help =
    "Shows step by step how the cache would serve each request now, and why; the last line is the verdict.\n"
    "Changes nothing: no copy, no entry, no age. Without --check no server is asked.\n\n"
    "Exit status: 0 every request would be served, as far as that is known, 1 some would not,\n"
    "3 with --check: all would, but some copies are out of date.\n\n"
    "Example: why is an old file shown?\n"
    "  qelfilecache explain --check https://server.example/landscape.xml";

} // namespace

Command Explain_Command() {
    return Make_Command("explain", "Show how each request would be served, and why an old copy is shown", explain_help,
                        &Declare_Options, &Explain_Requests);
}

} // namespace QEL::FrontEnd::Tool
