#include "tools/qelfilecache/inspecting/entry_table.h"

#include "tools/qelfilecache/inspecting/times.h"
#include "tools/qelfilecache/output.h"
#include "tools/qelfilecache/terminal.h"

#include <algorithm>
#include <array>

namespace QEL::FrontEnd::Tool {

namespace {

enum Column : std::size_t { Url, Copy, Size, Checked, Fresh_Until, Column_Count };

using Row = std::array<std::string, Column_Count>;
using Widths = std::array<std::size_t, Column_Count>;

constexpr const char* column_gap = "  ";
constexpr std::size_t gap_width = 2;
constexpr std::size_t narrowest_copy = 12;
constexpr std::size_t narrowest_url = 16;

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
        return "over";
    }
    return entry.fresh ? Local_Time_Text(entry.fresh_until) : Local_Time_Text(entry.fresh_until) + " (over)";
}

Row Row_Of(const Listed_Entry& listed, std::uint64_t now) {
    Row row;
    row[Url] = Printable(listed.entry.url);
    row[Copy] = Printable(listed.shown_copy);
    row[Size] = listed.size ? Size_Text(*listed.size) : "-";
    row[Checked] = Age(listed.entry, now);
    row[Fresh_Until] = Freshness(listed.entry);
    return row;
}

/// Takes columns from a width until `excess` is used up or the least width is reached.
void Narrow(std::size_t& width, std::size_t least, std::size_t& excess) {
    const std::size_t taken = std::min(excess, width > least ? width - least : 0);
    width -= taken;
    excess -= taken;
}

Widths Widths_Of(const std::vector<Row>& rows, std::optional<std::size_t> columns) {
    Widths widths{};
    std::size_t total = gap_width * (Column_Count - 1);
    for (std::size_t column = 0; column < Column_Count; ++column) {
        for (const Row& row : rows) {
            widths[column] = std::max(widths[column], Terminal::Columns_Of(row[column]));
        }
        total += widths[column];
    }
    std::size_t excess = columns && total > *columns ? total - *columns : 0;
    Narrow(widths[Copy], narrowest_copy, excess);
    Narrow(widths[Url], narrowest_url, excess);
    return widths;
}

std::string Line_Of(const Row& row, const Widths& widths) {
    std::string line;
    for (std::size_t column = 0; column < Column_Count; ++column) {
        const std::string cell = Terminal::Fit(row[column], widths[column]);
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

std::vector<std::string> Table_Of(const std::vector<Listed_Entry>& entries, const Table_Layout& layout) {
    std::vector<Row> rows = {{"URL", "COPY", "SIZE", "CHECKED", "FRESH UNTIL"}};
    for (const Listed_Entry& listed : entries) {
        rows.push_back(Row_Of(listed, layout.now));
    }
    const Widths widths = Widths_Of(rows, layout.columns);
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
