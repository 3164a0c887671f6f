#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Platform {

/// The key that holds the configuration of the cache.
inline constexpr const char* Options_Key = "Software\\QEL\\QELLogon\\Options";

/// Whose values are read.
enum class Configuration_Scope { User, Machine, User_Then_Machine };

/// The key, with the name of its root, that holds the value: the user's, else the machine's. Empty
/// when neither has it.
std::string Find_Key(const char* key, const char* value);

/// An integer value: a number, or a text that is a decimal number with an optional sign, as the low
/// 32 bits. Empty when the value is missing or no number. Where the user has the value, the
/// machine's does not count, whatever the user's holds.
std::optional<std::uint32_t> Read_Integer(Configuration_Scope scope, const char* key, const char* value);

/// A text value, the user's before the machine's; environment variables are expanded in a value of
/// the expandable kind. Empty when it is missing or no text.
std::optional<std::string> Read_Text(const char* key, const char* value);

/// A list of texts, the user's before the machine's; a single text counts as a list of one. Empty
/// when it is missing or of another kind.
std::vector<std::string> Read_Text_List(const char* key, const char* value);

} // namespace QEL::FrontEnd::Platform
