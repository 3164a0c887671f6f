#pragma once

#include <ctime>
#include <memory>
#include <string>

namespace QEL::FrontEnd::Util {

/// Id of this process.
int Process_Id();

/// Id of the calling thread, as the system's own tools show it.
int Thread_Id();

/// Full path of the running program; empty when the system does not say.
std::string Program_Path();

/// A variable of the environment; empty when it is not set, or when the program runs with rights that
/// its caller lacks.
std::string Environment_Variable(const char* name);

/// As long as what is returned lives, a write of the calling thread that the system refuses (no reader, a limit on the
/// length of files) fails, and no signal ends the host. Null where there are no such signals.
std::shared_ptr<void> Hold_Write_Signals();

/// The current time in the local time zone.
std::tm Local_Time();

} // namespace QEL::FrontEnd::Util
