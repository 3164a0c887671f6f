#pragma once

#include <string>

namespace QEL::FrontEnd::Platform {

/// Path of the share agent's program; empty when it is not installed.
///
/// It is looked for in ../libexec/qel, seen from the folder that holds this code, and where it lies
/// from an installed library, so that a build folder and an installation that was moved work as they
/// are; then where it was meant to be installed.
std::string Find_Agent_Program();

} // namespace QEL::FrontEnd::Platform
