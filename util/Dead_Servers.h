#pragma once

#include "util/Configuration_Source.h"
#include "util/Configuration_Values.h"
#include "util/Non_Copyable.h"
#include "util/Registry.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

namespace QEL::FrontEnd::Util {

/// While it lives, the requests of its thread are sent even to a server that has recently not responded, for which
/// the services would repeat the remembered failure.
class Asking_Anyway : private Util::Non_Copyable {
public:
    Asking_Anyway() { ++t_count; }
    ~Asking_Anyway() { --t_count; }

    /// Whether this thread has one.
    static bool Is_On() { return t_count > 0; }

private:
    inline static thread_local int t_count = 0;
};

/// While it lives, receives why the services of its thread do not ask a share's server.
class Unasked_Share_Server : private Util::Non_Copyable {
public:
    Unasked_Share_Server() { t_current = this; }
    ~Unasked_Share_Server() { t_current = nullptr; }

    /// What the services say: when the server was last tried and when it will be asked again.
    static void Describe(std::string description) {
        if (t_current != nullptr) {
            t_current->m_Description = std::move(description);
        }
    }

    /// Empty when the server was asked.
    const std::string& Description() const { return m_Description; }

    /// The services say that the configuration does not let them ask.
    static void Refuse(std::string refusal) {
        if (t_current != nullptr) {
            t_current->m_Refusal = std::move(refusal);
        }
    }

    /// Both sentences on error 1610, or empty.
    const std::string& Refusal() const { return m_Refusal; }

private:
    inline static thread_local Unasked_Share_Server* t_current = nullptr;
    std::string m_Description;
    std::string m_Refusal;
};

/// Whether a value of the configuration is a positive number that does not fit into a signed integer of
/// 32 bits.
inline bool Exceeds_31_Bits(const char* key, const char* value) {
    const auto configured = Find_Configured_Value(key, value);
    const std::string text = configured ? configured->text : "-"; // GCOVR_EXCL_BR_LINE: exceptions
    const bool is_hexadecimal = text.find_first_of("xX") != std::string::npos;
    char* end = nullptr;
    const auto number = std::strtoull(text.c_str(), &end, is_hexadecimal ? 16 : 10);
    return number > std::numeric_limits<std::int32_t>::max() && *end == '\0' && text.find('-') == std::string::npos;
}

/// For how long a server that did not respond is not asked again, as configured now: from 0 seconds (it is always
/// asked) to an hour.
inline std::chrono::seconds Server_Retry_Period() {
    constexpr std::int32_t standard = 120;
    constexpr std::int32_t longest = 3600;
    std::int32_t period = standard;
    GetRegValInt(period, Options_Key, Server_Retry_Value, 1);
    return std::chrono::seconds(Exceeds_31_Bits(Options_Key, Server_Retry_Value) ? longest
                                : period < 0                                     ? standard
                                                                                 : std::min(period, longest));
}

} // namespace QEL::FrontEnd::Util
