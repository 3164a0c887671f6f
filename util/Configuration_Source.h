#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Util {

/// A value of the configuration, with its place.
struct Configured_Value {
    std::string place; ///< for people: the path of a file, or a registry key with its root
    std::string text;  ///< the text there; a number in decimal; the first text of a list
};

/// The value in use, with its place: the user's, else the machine's.
/// @param key for example "Software\QEL\QELLogon\Options".
/// @param value name of the value under the key.
/// @return none when neither has it. The text may not be a number even if one is required.
std::optional<Configured_Value> Find_Configured_Value(const char* key, const char* value);

/// Faults of the configuration: names that resemble one of the cache's own, values that are not a number or are
/// out of range, missing directories, repeated keys. Each with its place, what is allowed, and the name that may be
/// meant.
std::vector<std::string> Configuration_Faults();

/// The MB that a file may have, as configured now; 0 and negative numbers: any. None where the platform does not limit
/// it.
std::optional<std::int32_t> Largest_File_Megabytes();

/// The environment variables that replace the system's certificate authorities, with the paths that they name.
/// Empty when the system's are trusted.
std::vector<Configured_Value> Configured_Authorities();

/// The proxy of a request of the request object. `text` is its host and port without user and password,
/// empty for a direct connection. `place` is the variable or setting that names it, and may be empty.
/// None when the system does not report it.
std::optional<Configured_Value> Find_Proxy(const std::string& url);

/// The places of the configuration that cannot be used, and why, one a line; empty when there are
/// none.
std::string Configuration_Problem();

} // namespace QEL::FrontEnd::Util
