#pragma once

#include <string>
#include <vector>

namespace QEL::Bench {

/// What a program that has ended took.
struct Program_Cost {
    double seconds = 0; ///< from its start to its end
    double cpu_seconds = 0;
    /// Most memory that it had at a time, and at least what this process has: the child of a fork
    /// begins with that.
    double peak_mib = 0;
};

/// Runs a program (looked up in PATH) to its end, with its output thrown away.
/// @throws std::runtime_error when it cannot be started or fails.
Program_Cost Run_Program(const std::vector<std::string>& command);

} // namespace QEL::Bench
