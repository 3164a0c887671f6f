#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/inspecting/entry_table.h"
#include "tools/qelfilecache/inspecting/inspection_json.h"
#include "tools/qelfilecache/inspecting/times.h"
#include "tools/qelfilecache/output.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

struct List_Options {
    std::optional<std::string> pattern;
    std::optional<std::string> order;
    bool expired = false;
    bool missing = false;
    bool json = false;
};

/// True when the parts of the pattern between its asterisks stand in the text, in their order.
bool Holds(std::string_view text, std::string_view pattern) {
    for (std::size_t begin = 0; !pattern.empty();) {
        const std::string_view part = pattern.substr(0, pattern.find('*'));
        const auto found = text.find(part, begin);
        if (found == std::string_view::npos) {
            return false;
        }
        begin = found + part.size();
        pattern.remove_prefix(std::min(part.size() + 1, pattern.size()));
    }
    return true;
}

bool Is_Wanted(const FileCache::Inspected_Entry& entry, const List_Options& options) {
    const bool is_expired = entry.copy_exists && !entry.fresh;
    const bool has_state = (!options.expired && !options.missing) || (options.expired && is_expired) ||
                           (options.missing && !entry.copy_exists);
    return has_state && Holds(entry.url, options.pattern.value_or(""));
}

/// As they are wanted: those that were asked about longest ago first, or the largest; else by address.
void Sort(std::vector<Listed_Entry>& entries, const std::optional<std::string>& order) {
    if (order == "age") {
        std::ranges::stable_sort(entries, {}, [](const auto& listed) { return listed.entry.last_checked_remotely; });
    } else if (order == "size") {
        std::ranges::stable_sort(entries, std::greater(), [](const auto& listed) { return listed.size.value_or(0); });
    }
}

/// "3 entries, 1 expired, 1 without its copy, 1.2 MB".
std::string Totals_Of(const std::vector<Listed_Entry>& entries) {
    std::uintmax_t bytes = 0;
    std::size_t expired = 0;
    std::size_t missing = 0;
    for (const auto& [entry, shown_copy, size] : entries) {
        bytes += size.value_or(0);
        expired += entry.copy_exists && !entry.fresh ? 1 : 0;
        missing += entry.copy_exists ? 0 : 1;
    }
    return Util::Counted(entries.size(), "entry", "entries") + ", " + std::to_string(expired) + " expired, " +
           std::to_string(missing) + " without copy, " + Size_Text(bytes);
}

std::string Shown_Copy(const std::string& copy, const std::filesystem::path& directory) {
    const std::filesystem::path path = Host::To_Path(copy);
    return path.parent_path() == directory ? Host::To_Text(path.filename()) : copy;
}

std::vector<Listed_Entry> Entries_Of(const Open_Inspection& opened, const List_Options& options) {
    std::vector<Listed_Entry> entries;
    for (auto& entry : opened.cache->Entries()) {
        if (!Is_Wanted(entry, options)) {
            continue;
        }
        std::string shown_copy = Shown_Copy(entry.copy, opened.directory);
        const auto size = entry.copy_exists ? Size_Of_Copy(entry.copy) : std::nullopt;
        entries.push_back({std::move(entry), std::move(shown_copy), size});
    }
    Sort(entries, options.order);
    return entries;
}

void Write_Entries_As_Json(const std::vector<Listed_Entry>& entries) {
    auto json = nlohmann::ordered_json::array();
    for (const Listed_Entry& listed : entries) {
        json.push_back(To_Json(listed.entry, listed.size));
    }
    Write_Json(json);
}

void Write_Table(const std::vector<Listed_Entry>& entries, std::uint64_t now) {
    const Table_Layout layout{Terminal::Width(), Terminal::Colours(stdout), now};
    for (const std::string& line : Table_Of(entries, layout)) {
        Write_Result(line);
    }
    Write_Result(Totals_Of(entries));
}

/// Reports what the table does not hold and somebody may look for.
void Report_The_Rest(const Open_Inspection& opened, const std::vector<Listed_Entry>& entries) {
    if (const auto all = opened.cache->Entries().size(); entries.empty() && all > 0) {
        Write_Message("note: " + (all == 1 ? "the only entry" : "none of the " + std::to_string(all) + " entries") +
                      " of " + Name_Of_Cache(opened.directory) + (all == 1 ? " does not match" : " matches") +
                      Another_Directory);
    } else if (entries.empty()) {
        Write_Message("note: " + Name_Of_Cache(opened.directory) +
                      (opened.directory.empty() ? " does not exist yet" : " is empty") + Another_Directory);
    }
    if (const std::string refusal = Why_Get_Refuses(opened.directory); !refusal.empty()) {
        Write_Message("warning: 'qelfilecache get' refuses: " + refusal);
    }
    for (const Listed_Entry& listed : entries) {
        if (const std::string fault = Fault_Of_Copy(listed.entry.copy); !fault.empty()) {
            Write_Message("warning: the copy " + Quoted(listed.entry.copy) + " " + fault);
        }
    }
    const auto unreferenced = opened.cache->Unreferenced_Copies();
    if (unreferenced.empty()) {
        return;
    }
    Write_Message(std::string("note: these copies belong to no ") +
                  (opened.cache->Metadata_Is_Sound()
                       ? "entry; the next request deletes them:"
                       : "known entry; 'qelfilecache get' saves them, any other program's request deletes them:") +
                  Indented_Lines(unreferenced));
}

Exit_Status List(const Settings& settings, const List_Options& options) {
    const Open_Inspection opened = Inspect_Cache(settings);
    const auto entries = Entries_Of(opened, options);
    if (options.json) {
        Write_Entries_As_Json(entries);
    } else if (!entries.empty()) {
        Write_Table(entries, opened.cache->Now());
    }
    Report_The_Rest(opened, entries);
    return Exit_Served;
}

void Declare_Options(Command_Options& parser, List_Options& options) {
    parser.Flag("--expired", options.expired, "Only entries whose copy has expired");
    parser.Flag("--missing", options.missing, "Only entries whose copy is gone");
    parser.Choice("--sort", {"age", "size", "url"}, options.order,
                  "Order: oldest check first, largest copy first, or by address");
    parser.Optional_Operand("PATTERN", options.pattern,
                            "Only addresses that contain this text; * stands for any characters");
    parser.Flag("--json", options.json, "Print one array of objects instead, with full paths and times in UTC");
}

constexpr const char* list_help =
    "COPY is a file in the cache directory. CHECKED is how long ago the server or share was last asked; until\n"
    "FRESH UNTIL the copy is served without asking again. The last line has the totals.\n"
    "\"copy missing\" marks an entry whose copy is gone: the next request fetches the file again. After\n"
    "'clear', all entries are marked. A narrow terminal shows the addresses and what fits beside them.\n"
    "Changes nothing and asks no server.\n\n"
    "Examples:\n"
    "  qelfilecache list\n"
    "  qelfilecache list --expired --sort age 'server.example/*.xml'\n"
    "  qelfilecache --cache-dir /var/cache/landscape list --json";

} // namespace

Command List_Command() {
    return Make_Command("list", "Print what is cached, and until when it is served without asking the server",
                        list_help, &Declare_Options, &List);
}

} // namespace QEL::FrontEnd::Tool
