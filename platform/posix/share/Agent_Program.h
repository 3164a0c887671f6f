#pragma once

#include "platform/posix/system/File_Descriptor.h"

#include <string>

namespace QEL::FrontEnd::Platform {

/// Where the share agent's program of this installation belongs: seen from the library where they were
/// installed together, also when both were moved, and in ../libexec/qel, seen from a program of the build
/// folder that holds this code itself.
std::string Find_Agent_Program();

/// Opens the program, so that what is run is what was checked. It gets the password of the shares, so
/// nobody but this user and root may have been able to put it there: with links resolved it and each
/// folder above belong to one of the two, and nobody else may write to them.
/// @param refusal why it must not be run, or that it is missing; set on failure only.
/// @return no descriptor on failure.
File_Descriptor Open_Agent_Program(const std::string& path, std::string& refusal);

} // namespace QEL::FrontEnd::Platform
