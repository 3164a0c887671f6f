#pragma once

#include "tests/support/Standard_Library.h"

namespace QEL::Tests {

/// A line that shows what is missing of it: its number gives its length.
inline std::string Trace_Line(int process, int thread, int line) {
    const std::string begin = "process " + std::to_string(process) + " thread " + std::to_string(thread) + " line " +
                              std::to_string(line) + " ";
    return begin + std::string(static_cast<std::size_t>(line * 37 % 301), static_cast<char>('a' + line % 26)) + " end";
}

} // namespace QEL::Tests
