#pragma once

#include <cstdio>

namespace QEL::FrontEnd::Util {

/// The standard error stream, for messages that have no other place. A reader that has gone does not end the
/// host: on Linux no SIGPIPE is raised. Lives to the end of the process; several threads may write to it.
std::FILE* Standard_Error();

} // namespace QEL::FrontEnd::Util
