#pragma once

#include <string>

namespace QEL::FrontEnd::Util {

/// Compares two texts without regard to letter case: 0 when equal, negative or positive otherwise.
/// Windows compares by the multibyte code page of the runtime; elsewhere only ASCII letters
/// have case.
int Compare_Ignoring_Case(const std::string& left, const std::string& right);

} // namespace QEL::FrontEnd::Util
