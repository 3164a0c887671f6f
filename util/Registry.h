#pragma once

#include <cstdint>

namespace QEL::FrontEnd::Util {

/// Reads a signed integer of the configuration: the user's value, else the machine's.
/// @param target receives the value; left unchanged when the value is missing or not a number.
/// @param key for example "Software\QEL\QELLogon\Options".
/// @param value name of the value under the key.
/// @param also_machine 1: read the machine's value when the user has none; 0: only the user's.
void GetRegValInt(std::int32_t& target, const char* key, const char* value, int also_machine);

} // namespace QEL::FrontEnd::Util
