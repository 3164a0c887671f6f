#pragma once

#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Util {

/// A value of the configuration as it is written down somewhere.
struct Configured_Value {
    std::string place; ///< for people: the path of a file, or a registry key with its root
    std::string text;  ///< what is written there, a number in decimal; of a list the first text
};

/// Where the value that counts stands: the user's, else the machine's.
/// @param key for example "Software\QEL\QELLogon\Options".
/// @param value name of the value under the key.
/// @return none when neither has it. What is found may be no number where one is wanted.
std::optional<Configured_Value> Find_Configured_Value(const char* key, const char* value);

/// What cannot be meant in the configuration: names that resemble one of the cache's own, values that are no number or
/// out of range, directories that do not exist, keys that stand twice. Each with its place, what is allowed, and which
/// name may be meant.
std::vector<std::string> Configuration_Faults();

/// The variables of the environment that name the certificate authorities that alone are trusted, with what they name.
/// None where the system's are trusted.
std::vector<Configured_Value> Configured_Authorities();

/// The proxy through which the request object sends a request: as `text` its host and port without user and password,
/// empty when there is none; as `place` the variable or setting that says so, which may be empty.
/// None when the system does not say.
std::optional<Configured_Value> Find_Proxy(const std::string& url);

/// Which places of the configuration had to be passed over, and why, one a line; empty when all is
/// well.
std::string Configuration_Problem();

} // namespace QEL::FrontEnd::Util
