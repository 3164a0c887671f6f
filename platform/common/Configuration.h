#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/Configuration_Values.h"

namespace QEL::FrontEnd::Platform {

using Util::Options_Key;

/// Whose values are read.
enum class Configuration_Scope { User, Machine, User_Then_Machine };

/// One line of a file of the configuration, or one value of a registry key.
struct Configuration_Item {
    std::string place;                  ///< for people: file and line, or the key with its root
    std::string file;                   ///< where a key may stand once only
    std::string section;                ///< as written
    std::string key;                    ///< as written; empty: it is the line of the section itself
    std::string text;                   ///< the value
    std::optional<std::int64_t> number; ///< the value, where it is a number
};

/// The configuration of the user and of the machine. Every read answers with the values of that
/// moment. Where the user has the value, the machine's does not count, whatever the user's holds.
/// Thread-safe, as long as no thread changes the environment meanwhile.
class Configuration {
public:
    /// The one that the whole process reads.
    static Configuration& System();

    virtual ~Configuration() = default;

    /// A text; none when it is missing or of another kind.
    virtual std::optional<std::string> Read_Text(Configuration_Scope scope, const char* key, const char* value) = 0;

    /// A list of texts, the user's or the machine's. Empty when it is missing or of another kind.
    virtual std::vector<std::string> Read_List(Configuration_Scope scope, const char* key, const char* value) = 0;

    /// The low 32 bits of a number from -2^31 to 2^32 - 1. None when it is missing, anything else or
    /// beyond that range.
    virtual std::optional<std::uint32_t> Read_Integer(Configuration_Scope scope, const char* key,
                                                      const char* value) = 0;

    /// Where the value that counts stands, for people; none when it is missing.
    virtual std::optional<std::string> Find_Place(Configuration_Scope scope, const char* key, const char* value) = 0;

    /// All sections and values, in the order in which they stand.
    virtual std::vector<Configuration_Item> Items() = 0;

    /// Which places had to be passed over, and why, one a line; empty when all is well.
    virtual std::string Problem() = 0;
};

/// What is wrong with a text of [Shares]; empty when nothing is.
std::string Objection_To_Share_Setting(std::string_view key, const std::string& text);

/// "Port = x: not a number", "Port is empty: not a number".
std::string Fault_Of(const std::string& name, const std::string& text, const std::string& objection);

/// Who has asked for the faults of the configuration shows them; nobody else has to.
inline std::atomic<bool> Faults_Are_Known = false;

/// What Configuration::Read_Integer makes of a number.
std::optional<std::uint32_t> Low_32_Bits(std::int64_t number);

} // namespace QEL::FrontEnd::Platform
