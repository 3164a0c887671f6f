#pragma once

#include <map>
#include <string>
#include <vector>

namespace QEL::Tests {

/// How a run of the tool ended, and what it wrote.
struct Tool_Result {
    int exit_status = -1; ///< -1: it did not end by itself
    std::string out;
    std::string err;
};

/// One run of the tool as a process of its own.
struct Tool_Run {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment; ///< on top of this process's own
    std::vector<std::string> without_environment;   ///< taken from this process's own
    std::string working_directory;                  ///< empty: this process's own
    std::string standard_input;                     ///< what it reads there
    std::string standard_output_path;               ///< empty: kept in Tool_Result::out
    unsigned short terminal_columns = 0; ///< not 0: all streams are a terminal of that width, kept in Tool_Result::out
    bool standard_output_closed = false;
    bool standard_output_without_reader = false; ///< a pipe that nobody reads
    bool with_ordinary_rights = false;           ///< permissions count, also when the tests run as root
};

Tool_Result Run_Tool(const Tool_Run& run);

} // namespace QEL::Tests
