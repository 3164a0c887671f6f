#pragma once

namespace QEL::FrontEnd::Tool {

/// Reads the command line, carries out its command, and returns the exit status of the process.
int Run_Command_Line(int argument_count, const char* const* arguments);

} // namespace QEL::FrontEnd::Tool
