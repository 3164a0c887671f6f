#pragma once

#include <string>

namespace QEL::FrontEnd::Platform {

/// Path of the share agent's program; empty when it is not installed.
///
/// It is looked for beside the folder that holds this code (../libexec/qel), so that a moved
/// installation and a build folder work as they are, then where it was meant to be installed.
std::string Find_Agent_Program();

} // namespace QEL::FrontEnd::Platform
