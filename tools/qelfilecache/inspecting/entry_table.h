#pragma once

#include "filecache/inspection/Cache_Inspection.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// One entry as the list shows it.
struct Listed_Entry {
    FileCache::Inspected_Entry entry;
    std::string shown_copy; ///< the name of a copy in the cache directory, else its path
    std::optional<std::uintmax_t> size;
};

/// How the list is laid out.
struct Table_Layout {
    std::optional<std::size_t> columns; ///< none: lines may be of any length
    bool colours = false;
    std::uint64_t now = 0; ///< what ages are counted to
};

/// A heading and a line for each entry, the columns aligned. Where lines are too long for the addresses to
/// have their room, the other columns give way: the middle of the copy's name first, then that column and
/// further ones. An address that has to be cut all the same stays distinct from the others.
std::vector<std::string> Table_Of(const std::vector<Listed_Entry>& entries, const Table_Layout& layout);

/// Each address in at most so many columns, and no two that differ alike: where losing their middle would
/// make them so, they lose their common beginning instead, and stay complete when even that does not help.
std::vector<std::string> Shorten_Distinctly(const std::vector<std::string>& addresses, std::size_t columns);

} // namespace QEL::FrontEnd::Tool
