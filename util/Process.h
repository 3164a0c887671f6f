#pragma once

#include <ctime>
#include <memory>
#include <string>

namespace QEL::FrontEnd::Util {

/// Id of this process.
int Process_Id();

/// Id of the calling thread, as the system's own tools show it.
int Thread_Id();

/// Full path of the running program; empty when it is unknown.
std::string Program_Path();

/// An environment variable; empty when it is not set, or when the program has more rights than
/// its caller.
std::string Environment_Variable(const char* name);

/// While the result lives, a write of the calling thread to a file of the greatest length that the process may write
/// fails, and no signal ends the host. Null where nothing limits that length.
std::shared_ptr<void> Hold_Length_Signal();

/// The current time in the local time zone.
std::tm Local_Time();

} // namespace QEL::FrontEnd::Util
