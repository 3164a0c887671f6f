#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace QEL::FrontEnd::Tool {

/// Exit status of the process.
enum Exit_Status : int {
    Exit_Served = 0,     ///< every request was served
    Exit_Not_Served = 1, ///< some were not
    Exit_Wrong_Usage = 2 ///< the command line, or a directory that it names, cannot be used
};

/// The command line, or a directory that it names, cannot be used: ends with Exit_Wrong_Usage.
class Usage_Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the options before the command say.
struct Settings {
    std::optional<std::string> cache_directory; ///< none: the default one
    int trace_level = 0;
    std::optional<std::string> trace_directory; ///< none: as configured
};

/// A command: its parser tells whether it was given, `run` carries it out.
struct Command {
    CLI::App* parser;
    std::function<Exit_Status(const Settings&)> run;
};

/// Each declares a command's name, options and help. A new command is one more of these, its file
/// in commands/, and its place in Declare_Commands.
Command Declare_Get(CLI::App& tool);
Command Declare_Clear(CLI::App& tool);
Command Declare_Purge(CLI::App& tool);

std::vector<Command> Declare_Commands(CLI::App& tool);

} // namespace QEL::FrontEnd::Tool
