#include "tools/qelfilecache/inspecting/times.h"

#include "util/Visible_Text.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace QEL::FrontEnd::Tool {

namespace {

constexpr std::uint64_t intervals_per_second = 10000000;
constexpr std::uint64_t seconds_from_1601_to_1970 = 11644473600;
/// Since 1970. From there on, not every system knows calendars.
constexpr std::uint64_t first_second_of_3000 = 32503680000;

enum class Zone { Local, Utc };

std::string Time_Text(std::uint64_t moment, Zone zone, const char* format) {
    const std::uint64_t seconds = moment / intervals_per_second;
    if (seconds < seconds_from_1601_to_1970 || seconds - seconds_from_1601_to_1970 >= first_second_of_3000) {
        return {};
    }
    const auto time = static_cast<std::time_t>(seconds - seconds_from_1601_to_1970);
    // The tool has one thread.
    const std::tm* const calendar = zone == Zone::Local ? std::localtime(&time) : std::gmtime(&time);
    std::array<char, 32> text{};
    const std::size_t length = calendar ? std::strftime(text.data(), text.size(), format, calendar) : 0;
    return {text.data(), length};
}

} // namespace

std::string Local_Time_Text(std::uint64_t moment) {
    if (moment / intervals_per_second >= seconds_from_1601_to_1970 + first_second_of_3000) {
        return "the year 3000 or later";
    }
    const std::string text = Time_Text(moment, Zone::Local, "%Y-%m-%d %H:%M:%S");
    return text.empty() ? "an unknown time" : text;
}

std::string Utc_Time_Text(std::uint64_t moment) {
    return Time_Text(moment, Zone::Utc, "%Y-%m-%dT%H:%M:%SZ");
}

std::string Duration_Text(std::uint64_t from, std::uint64_t to) {
    constexpr std::uint64_t minute = 60;
    constexpr std::uint64_t hour = 60 * minute;
    constexpr std::uint64_t day = 24 * hour;
    const std::uint64_t seconds = (to > from ? to - from : 0) / intervals_per_second;
    if (seconds < 2 * minute) {
        return Util::Counted(seconds, "second");
    }
    if (seconds < 2 * hour) {
        return Util::Counted(seconds / minute, "minute");
    }
    return seconds < 2 * day ? Util::Counted(seconds / hour, "hour") : Util::Counted(seconds / day, "day");
}

std::string Size_Text(std::uintmax_t bytes) {
    if (bytes < 1000) {
        return std::to_string(bytes) + " B";
    }
    auto number = static_cast<double>(bytes);
    const char* unit = "";
    for (const char* const next : {"kB", "MB", "GB", "TB"}) {
        if (number < 999.95) {
            break;
        }
        number /= 1000;
        unit = next;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", number, unit);
    return text.data();
}

} // namespace QEL::FrontEnd::Tool
