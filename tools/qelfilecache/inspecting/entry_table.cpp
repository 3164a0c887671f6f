#include "tools/qelfilecache/inspecting/entry_table.h"

#include "tools/qelfilecache/inspecting/times.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace QEL::FrontEnd::Tool {

namespace {

enum Column : std::size_t { Url, Copy, Size, Checked, Fresh_Until, Column_Count };

using Row = std::array<std::string, Column_Count>;
using Widths = std::array<std::size_t, Column_Count>;

constexpr const char* column_gap = "  ";
constexpr std::size_t gap_width = 2;
constexpr std::size_t narrowest_copy = 12;
constexpr std::size_t narrowest_url = 16;
/// Other columns give way until the longest address has its full width, or this one.
constexpr std::size_t wanted_url = 60;
constexpr const char* expired_mark = "expired since ";

constexpr const char* green = "\x1B[32m";
constexpr const char* yellow = "\x1B[33m";
constexpr const char* red = "\x1B[31m";
constexpr const char* bold = "\x1B[1m";
constexpr const char* plain = "\x1B[0m";

std::string Age(const FileCache::Inspected_Entry& entry, std::uint64_t now) {
    if (entry.last_checked_remotely == 0) {
        return "unknown";
    }
    return entry.last_checked_remotely > now ? "in the future"
                                             : Duration_Text(entry.last_checked_remotely, now) + " ago";
}

std::string Freshness(const FileCache::Inspected_Entry& entry) {
    if (!entry.copy_exists) {
        return "copy missing";
    }
    if (entry.last_checked_remotely == 0) {
        return "expired";
    }
    return (entry.fresh ? "" : expired_mark) + Local_Time_Text(entry.fresh_until);
}

Row Row_Of(const Listed_Entry& listed, std::uint64_t now) {
    Row row;
    row[Url] = Util::Printable(listed.entry.url);
    row[Copy] = Util::Printable(listed.shown_copy);
    row[Size] = listed.size ? Size_Text(*listed.size) : "-";
    row[Checked] = Age(listed.entry, now);
    row[Fresh_Until] = Freshness(listed.entry);
    return row;
}

std::size_t Width_Of(const std::vector<Row>& rows, Column column) {
    std::size_t width = 0;
    for (const Row& row : rows) {
        width = std::max(width, Util::Columns_Of(row[column]));
    }
    return width;
}

/// What the columns behind the address take; those of width 0 are not shown.
std::size_t Width_Of_The_Rest(const Widths& widths) {
    std::size_t total = 0;
    for (const Column column : {Copy, Size, Checked, Fresh_Until}) {
        total += widths[column] > 0 ? gap_width + widths[column] : 0;
    }
    return total;
}

/// How much a table is too wide for the address to have its room.
std::size_t Excess(const Widths& widths, std::size_t columns) {
    const std::size_t total = std::min(widths[Url], wanted_url) + Width_Of_The_Rest(widths);
    return total > columns ? total - columns : 0;
}

/// Leaves the time out of what has expired.
void Shorten_Freshness(std::vector<Row>& rows) {
    for (Row& row : rows) {
        if (row[Fresh_Until].starts_with(expired_mark)) {
            row[Fresh_Until] = "expired";
        }
    }
}

/// What all of them begin with, as far as the last separator in it.
std::size_t Common_Folders(const std::set<std::string>& addresses) {
    // The first and the last in order differ at least as early as any others.
    const std::string& first = *addresses.begin();
    const std::string& last = *addresses.rbegin();
    const auto difference = std::mismatch(first.begin(), first.end(), last.begin(), last.end());
    const std::string common(first.begin(), difference.first);
    const auto separator = common.find_last_of("/\\");
    return separator == std::string::npos ? 0 : separator;
}

std::string Without_Beginning(const std::string& address, std::size_t beginning, std::size_t columns) {
    constexpr std::size_t ellipsis = 3;
    return "..." + Util::Shorten(address.substr(beginning), columns > ellipsis ? columns - ellipsis : 0);
}

/// The addresses behind each short form.
std::map<std::string, std::set<std::string>> Addresses_By_Form(const std::map<std::string, std::string>& forms) {
    std::map<std::string, std::set<std::string>> addresses;
    for (const auto& [address, form] : forms) {
        addresses[form].insert(address);
    }
    return addresses;
}

void Shorten_Addresses(std::vector<Row>& rows, std::size_t width) {
    std::vector<std::string> addresses;
    addresses.reserve(rows.size());
    for (const Row& row : rows) {
        addresses.push_back(row[Url]);
    }
    addresses = Shorten_Distinctly(addresses, width);
    for (std::size_t number = 0; number < rows.size(); ++number) {
        rows[number][Url] = addresses[number];
    }
}

/// Makes the rows fit, the address last of all: what distinguishes entries is worth most.
Widths Lay_Out(std::vector<Row>& rows, std::optional<std::size_t> columns) {
    Widths widths{};
    for (const Column column : {Url, Copy, Size, Checked, Fresh_Until}) {
        widths[column] = Width_Of(rows, column);
    }
    if (!columns) {
        return widths;
    }
    if (const std::size_t excess = Excess(widths, *columns); excess > 0) {
        const bool is_enough = widths[Copy] >= narrowest_copy + excess;
        widths[Copy] = is_enough ? widths[Copy] - excess : 0;
    }
    for (const Column column : {Checked, Size}) {
        if (Excess(widths, *columns) > 0) {
            widths[column] = 0;
        }
    }
    if (Excess(widths, *columns) > 0) {
        Shorten_Freshness(rows);
        widths[Fresh_Until] = Width_Of(rows, Fresh_Until);
    }
    const std::size_t rest = Width_Of_The_Rest(widths);
    const std::size_t room = *columns > rest + narrowest_url ? *columns - rest : narrowest_url;
    if (widths[Url] > room) {
        Shorten_Addresses(rows, room);
        widths[Url] = room;
    }
    return widths;
}

std::string Line_Of(const Row& row, const Widths& widths) {
    std::string line;
    for (std::size_t column = 0; column < Column_Count; ++column) {
        if (widths[column] == 0) {
            continue;
        }
        // An address that would look like another one is wider than its column.
        const std::size_t width = column == Url ? std::max(widths[Url], Util::Columns_Of(row[Url])) : widths[column];
        const std::string cell = Util::Fit(row[column], width);
        if (column == Size) { // numbers end below each other
            const std::size_t text_end = cell.find_last_not_of(' ') + 1;
            line += cell.substr(text_end) + cell.substr(0, text_end);
        } else {
            line += cell;
        }
        line += column_gap;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

const char* Colour_Of(const FileCache::Inspected_Entry& entry) {
    if (!entry.copy_exists) {
        return red;
    }
    return entry.fresh ? green : yellow;
}

} // namespace

std::vector<std::string> Shorten_Distinctly(const std::vector<std::string>& addresses, std::size_t columns) {
    std::map<std::string, std::string> forms;
    for (const std::string& address : addresses) {
        forms[address] = Util::Shorten(address, columns);
    }
    for (const auto& [form, alike] : Addresses_By_Form(forms)) {
        const std::size_t beginning = alike.size() > 1 ? Common_Folders(alike) : 0;
        for (const std::string& address : alike) {
            if (beginning > 0) {
                forms[address] = Without_Beginning(address, beginning, columns);
            }
        }
    }
    for (const auto& [form, alike] : Addresses_By_Form(forms)) {
        for (const std::string& address : alike) {
            if (alike.size() > 1) {
                forms[address] = address;
            }
        }
    }
    std::vector<std::string> shortened;
    shortened.reserve(addresses.size());
    for (const std::string& address : addresses) {
        shortened.push_back(forms[address]);
    }
    return shortened;
}

std::vector<std::string> Table_Of(const std::vector<Listed_Entry>& entries, const Table_Layout& layout) {
    std::vector<Row> rows = {{"URL", "COPY", "SIZE", "CHECKED", "FRESH UNTIL"}};
    for (const Listed_Entry& listed : entries) {
        rows.push_back(Row_Of(listed, layout.now));
    }
    const Widths widths = Lay_Out(rows, layout.columns);
    std::vector<std::string> lines;
    for (std::size_t number = 0; number < rows.size(); ++number) {
        std::string line = Line_Of(rows[number], widths);
        if (layout.colours) {
            line.insert(0, number == 0 ? bold : Colour_Of(entries[number - 1].entry));
            line += plain;
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

} // namespace QEL::FrontEnd::Tool
