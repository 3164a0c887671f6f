#pragma once

#include "util/Non_Copyable.h"
#include "util/Registry.h"

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace QEL::FrontEnd::Util {

/// While it lives, the requests of its thread are sent even where a server has lately cost time in vain and the
/// services would answer with what they remember.
class Asking_Anyway : private Util::Non_Copyable {
public:
    Asking_Anyway() { ++t_count; }
    ~Asking_Anyway() { --t_count; }

    /// Whether this thread has one.
    static bool Is_On() { return t_count > 0; }

private:
    inline static thread_local int t_count = 0;
};

/// The value of the configuration that says for how long a server that cost time in vain is not asked again.
inline constexpr char Server_Retry_Value[] = "LandscapeServerRetryAfter";

/// What it says at this moment: from 0 seconds, which is never, to an hour.
/// @param key under which it stands.
inline std::chrono::seconds Server_Retry_Period(const char* key) {
    constexpr std::int32_t standard = 120;
    constexpr std::int32_t longest = 3600;
    std::int32_t period = standard;
    GetRegValInt(period, key, Server_Retry_Value, 1);
    return std::chrono::seconds(period < 0 ? standard : std::min(period, longest));
}

} // namespace QEL::FrontEnd::Util
