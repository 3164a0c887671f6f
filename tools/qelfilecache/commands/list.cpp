#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "tools/qelfilecache/cache_folder.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/inspecting/entry_table.h"
#include "tools/qelfilecache/inspecting/inspection_json.h"
#include "tools/qelfilecache/output.h"

#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

struct List_Options {
    bool json = false;
};

std::string Shown_Copy(const std::string& copy, const std::filesystem::path& directory) {
    const std::filesystem::path path = Host::To_Path(copy);
    return path.parent_path() == directory ? Host::To_Text(path.filename()) : copy;
}

std::vector<Listed_Entry> Entries_Of(const Open_Inspection& opened) {
    std::vector<Listed_Entry> entries;
    for (auto& entry : opened.cache->Entries()) {
        std::string shown_copy = Shown_Copy(entry.copy, opened.directory);
        const auto size = entry.copy_exists ? Size_Of_Copy(entry.copy) : std::nullopt;
        entries.push_back({std::move(entry), std::move(shown_copy), size});
    }
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
}

/// Reports what the table does not hold and somebody may look for.
void Report_The_Rest(const Open_Inspection& opened, const std::vector<Listed_Entry>& entries) {
    if (entries.empty()) {
        Write_Message(opened.directory.empty()
                          ? "note: the cache is empty: its default directory is not there yet"
                          : "note: the cache in " + Quoted(Host::To_Text(opened.directory)) + " is empty");
    }
    const auto unreferenced = opened.cache->Unreferenced_Copies();
    if (unreferenced.empty()) {
        return;
    }
    Write_Message("note: these copies belong to no entry; the next request deletes them:" +
                  Indented_Lines(unreferenced));
}

Exit_Status List(const Settings& settings, const List_Options& options) {
    const Open_Inspection opened = Inspect_Cache(settings);
    const auto entries = Entries_Of(opened);
    if (options.json) {
        Write_Entries_As_Json(entries);
    } else if (!entries.empty()) {
        Write_Table(entries, opened.cache->Now());
    }
    Report_The_Rest(opened, entries);
    return Exit_Served;
}

void Declare_Options(Command_Options& parser, List_Options& options) {
    parser.Flag("--json", options.json, "Print one array of objects instead, with full paths and times in UTC");
}

constexpr const char* list_help =
    "Sorted by address; COPY is a file in the cache directory. CHECKED is how long ago the remote side was last\n"
    "asked; until FRESH UNTIL the copy is served without asking it again.\n"
    "\"copy missing\" marks an entry whose copy is gone, of all of them after 'clear': the file is fetched again with\n"
    "its next request. A terminal too narrow for everything shows the addresses and what fits beside them.\n"
    "Changes nothing and asks nobody.\n\n"
    "Examples:\n"
    "  qelfilecache list\n"
    "  qelfilecache --cache-dir /var/cache/landscape list --json";

} // namespace

Command List_Command() {
    return Make_Command("list", "Print what is cached, and until when it is served without asking the server",
                        list_help, &Declare_Options, &List);
}

} // namespace QEL::FrontEnd::Tool
