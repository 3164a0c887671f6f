#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Tool {

/// Exit status of the process.
enum Exit_Status : int {
    Exit_Served = 0,       ///< every request was served
    Exit_Not_Served = 1,   ///< some were not
    Exit_Wrong_Usage = 2,  ///< the command line, or a file or directory that it names, cannot be used
    Exit_Out_Of_Date = 3,  ///< every request would be served, and a check has shown that a copy is out of date
    Exit_No_Entry = 3,     ///< what is to be cleared is gone, and some of it was not there
    Exit_Reader_Gone = 141 ///< nobody reads the results any more: what shells show of a tool that SIGPIPE ended
};

/// The command line, or a file or directory that it names, cannot be used: ends with Exit_Wrong_Usage.
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

class Command_Options;

/// A command of the tool.
struct Command {
    std::string name;
    std::string summary; ///< one line of the tool's help
    std::string help;    ///< what the command's own help ends with: explanations and examples
    std::function<void(Command_Options& parser)> declare_options; ///< none: the command takes none
    std::function<Exit_Status(const Settings& settings)> run;
};

/// A command whose options are declared and used by two functions of its own.
template <typename Options>
Command Make_Command(const char* name, const char* summary, const char* help,
                     void (*declare)(Command_Options& parser, Options& options),
                     Exit_Status (*run)(const Settings& settings, const Options& options)) {
    const auto options = std::make_shared<Options>();
    return {name, summary, help, [=](Command_Options& parser) { declare(parser, *options); },
            [=](const Settings& settings) { return run(settings, *options); }};
}

/// Each in its file of commands/. A new command is one more of these and its place in the command line's list.
Command Get_Command();
Command List_Command();
Command Explain_Command();
Command Prefetch_Command();
Command Clear_Command();
Command Purge_Command();
Command Trace_Command();

} // namespace QEL::FrontEnd::Tool
