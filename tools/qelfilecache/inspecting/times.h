#pragma once

#include <cstdint>
#include <string>

/// Moments and sizes in words. A moment is counted as the cache counts: 100 ns intervals since
/// 1601-01-01 UTC.
namespace QEL::FrontEnd::Tool {

/// "2026-11-21 10:20:33" in the local time zone; "an unknown time" for 0 and what no calendar holds,
/// "the year 3000 or later" for what lies there.
std::string Local_Time_Text(std::uint64_t moment);

/// "2026-11-21T10:20:33Z"; empty for 0 and what no calendar holds.
std::string Utc_Time_Text(std::uint64_t moment);

/// The time between two moments: "45 seconds", "3 minutes", "2 hours", "5 days".
std::string Duration_Text(std::uint64_t from, std::uint64_t to);

/// "812 B", "1.2 kB", "3.4 MB".
std::string Size_Text(std::uintmax_t bytes);

} // namespace QEL::FrontEnd::Tool
