#pragma once

#include <cstdio>

namespace QEL::FrontEnd::Util {

/// The standard error stream, for messages without another place. A closed reader does not end the
/// host: on Linux no SIGPIPE is raised. It lives until the process ends; several threads may write to it.
std::FILE* Standard_Error();

} // namespace QEL::FrontEnd::Util
