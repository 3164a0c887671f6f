#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "util/Similar_Words.h"
#include "util/Visible_Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

constexpr const char* tool_description =
    "Serves files from web servers and shares through a local cache: each request returns the path\n"
    "of a local copy, also while the server is down.";

constexpr const char* footer =
    "Results go to standard output, everything else to standard error.\n"
    "Exit status: 0 every request was served, 1 some were not,\n"
    "2 wrong usage, or a file or directory that cannot be used,\n"
    "3 'explain --check' found a copy out of date, or 'clear' no entry for a request,\n"
    "141 the reader of the results closed the pipe.\n\n"
    "Examples:\n"
    "  qelfilecache get https://server.example/landscape.xml\n"
    "  qelfilecache --cache-dir /var/cache/landscape get '\\\\server\\share\\landscape.xml'\n"
    "  qelfilecache explain --check https://server.example/landscape.xml\n"
    "  qelfilecache get --help";

/// In the order of the help text.
std::vector<Command> All_Commands() {
    return {Get_Command(),   List_Command(),  Explain_Command(), Prefetch_Command(),
            Trace_Command(), Clear_Command(), Purge_Command()};
}

void Declare_Options(CLI::App& tool, Settings& settings) {
    Command_Options options(tool);
    options.Text("--cache-dir", "DIR", settings.cache_directory,
                 "Directory of the copies; it must exist. Spell it the same way every time.\n"
                 "By default %LOCALAPPDATA%\\QEL\\LandscapeCache on Windows and\n"
                 "$XDG_CACHE_HOME/qel/landscape elsewhere, created when missing");
    options.Number("--trace-level", "0..5", {"a number from 0 to 5", 0, 5}, settings.trace_level,
                   "What the trace file holds: 0 nothing (by default), 1 errors, 2 warnings\n"
                   "too, 3 notes too, 4 everything, 5 everything with time stamps");
    options.Text("--trace-dir", "DIR", settings.trace_directory,
                 "Directory of the trace file; it must exist.\n"
                 "By default the configured one, else the current directory");
    tool.set_version_flag("--version", "qelfilecache " QEL_VERSION, "Print the version and exit");
    tool.set_help_flag("-h,--help", "Print this help and exit");
}

void Declare_Command(CLI::App& tool, const Command& command) {
    CLI::App& parser = *tool.add_subcommand(command.name, command.summary);
    parser.footer("'qelfilecache --help' shows the options of all commands, such as --cache-dir.\n\n" + command.help);
    parser.group("Commands");
    parser.set_help_flag("-h,--help", "Print this help and exit");
    // The options of the tool are understood behind the command, too.
    parser.fallthrough();
    if (command.declare_options) {
        Command_Options options(parser);
        command.declare_options(options);
    }
}

/// What a command takes behind its name and options, such as "REQUEST"; empty: nothing.
std::string Operand_Of(const CLI::App& command) {
    const auto operands = command.get_options([](const CLI::Option* option) { return option->get_positional(); });
    return operands.empty() ? std::string() : operands.front()->get_name();
}

/// "did you mean 'list'? " for a word that is nearly one of those; empty for any other.
std::string Did_You_Mean(const std::string& word, const std::vector<std::string>& words) {
    const std::string nearest =
        Util::Nearest(word, words, std::min<std::size_t>(word.size(), 3)); // as far is another word
    return nearest.empty() ? nearest : "did you mean '" + nearest + "'? ";
}

std::vector<std::string> Names(const std::vector<Command>& commands) {
    std::vector<std::string> names;
    std::ranges::transform(commands, std::back_inserter(names), &Command::name);
    return names;
}

/// The options that are understood: the tool's, and those of the command that is given.
std::vector<std::string> Known_Options(const CLI::App& tool) {
    std::vector<std::string> names;
    auto parsers = tool.get_subcommands();
    std::vector<const CLI::App*> all(parsers.begin(), parsers.end());
    all.push_back(&tool);
    for (const CLI::App* parser : all) {
        for (const CLI::Option* option : parser->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::string Names_Of(const std::vector<Command>& commands) {
    std::string names;
    for (const Command& command : commands) {
        names += (names.empty() ? "" : ", ") + command.name;
    }
    return names;
}

/// Of an option without its value; the complaint of the parser begins with the option's name.
std::string Explain_Missing_Value(const CLI::App& tool, const std::string& complaint) {
    const std::string name = complaint.substr(0, complaint.find(':'));
    const auto given = tool.get_subcommands();
    const CLI::Option* option = given.empty() ? nullptr : given.front()->get_option_no_throw(name);
    option = option ? option : tool.get_option_no_throw(name);
    return option ? "option '" + name + "' needs a value, " + option->get_type_name() : complaint;
}

/// What is wrong with the command line, in words that say what to do.
std::string Explain_Wrong_Usage(const CLI::App& tool, const CLI::ParseError& error,
                                const std::vector<Command>& commands) {
    const auto not_understood = tool.remaining(true);
    const auto option = std::find_if(not_understood.begin(), not_understood.end(),
                                     [](const std::string& word) { return word.size() > 1 && word[0] == '-'; });
    if (option != not_understood.end()) {
        std::vector<Command> with_option;
        std::ranges::copy_if(commands, std::back_inserter(with_option), [&](const Command& command) {
            return tool.get_subcommand(command.name)->get_option_no_throw(*option) != nullptr;
        });
        const auto given = tool.get_subcommands();
        if (!with_option.empty()) {
            const bool may_have_it = given.empty() || given.front()->get_option_no_throw(*option) != nullptr;
            return may_have_it ? "option '" + *option + "' belongs after its command: " + Names_Of(with_option)
                               : "'" + given.front()->get_name() + "' has no option '" + *option +
                                     "'; these have: " + Names_Of(with_option);
        }
        const std::string unknown = "unknown option '" + *option + "'; " + Did_You_Mean(*option, Known_Options(tool));
        if (given.empty()) {
            return unknown + "'qelfilecache --help' lists the options";
        }
        if (Operand_Of(*given.front()) != "REQUEST") {
            return unknown + "'qelfilecache " + given.front()->get_name() + " --help' lists the options";
        }
        return unknown + "put \"--\" before a request that begins with \"-\"";
    }
    if (tool.get_subcommands().empty() && !not_understood.empty()) {
        return "unknown command '" + not_understood.front() + "'; " +
               Did_You_Mean(not_understood.front(), Names(commands)) + "the commands are " + Names_Of(commands);
    }
    if (!not_understood.empty()) {
        const CLI::App& command = *tool.get_subcommands().front();
        const std::string operand = Operand_Of(command);
        return "'" + not_understood.front() + "' is one word too many: '" + command.get_name() + "' takes " +
               (operand.empty() ? "nothing but options" : "one " + operand);
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
        return Explain_Missing_Value(tool, error.what());
    }
    if (tool.get_subcommands().empty() && dynamic_cast<const CLI::RequiredError*>(&error)) {
        return "a command is missing; the commands are " + Names_Of(commands);
    }
    return error.what();
}

/// The words of the command line, with "help get" as "get --help".
std::vector<const char*> With_Help_As_Option(int count, const char* const* arguments,
                                             const std::vector<Command>& commands) {
    std::vector<const char*> words(arguments, arguments + count);
    std::size_t place = 1;
    while (place < words.size() && words[place][0] == '-') { // options, and the values of those that stand alone
        place += std::string_view(words[place]).find('=') == std::string_view::npos ? 2 : 1;
    }
    if (place >= words.size() || std::string_view(words[place]) != "help") {
        return words;
    }
    words.erase(words.begin() + static_cast<std::ptrdiff_t>(place));
    const bool is_known = place == words.size() || std::ranges::count(Names(commands), words[place]) > 0;
    if (is_known) {
        words.push_back("--help");
    }
    return words;
}

void Print_Help_Or_Version(const CLI::App& tool, const CLI::Success& which) {
    std::ostringstream output;
    tool.exit(which, output, output);
    std::string text = output.str();
    text.erase(text.find_last_not_of('\n') + 1);
    Write_Result(text);
}

/// The command that the command line gives; none when it only asks for a text, which is printed.
/// @throws Usage_Error
const Command* Parse(CLI::App& tool, const std::vector<Command>& commands, int argument_count,
                     const char* const* arguments) {
    try {
        tool.parse(argument_count, arguments);
    } catch (const CLI::Success& which) {
        Print_Help_Or_Version(tool, which);
        return nullptr;
    } catch (const CLI::ParseError& error) {
        throw Usage_Error(Util::Printable(Explain_Wrong_Usage(tool, error, commands)) +
                          "\n  Run with --help for the options and examples.");
    }
    return &*std::find_if(commands.begin(), commands.end(),
                          [&tool](const Command& command) { return tool.got_subcommand(command.name); });
}

/// Reads the command line, carries out its command, and returns the exit status of the process.
int Run_Command_Line(int argument_count, const char* const* arguments) {
    try {
        Settings settings;
        CLI::App tool(tool_description, "qelfilecache");
        tool.footer(footer);
        tool.require_subcommand(1);
        tool.get_formatter()->label("SUBCOMMAND", "COMMAND");
        // On Windows too, "/x" is a request and no option.
        tool.allow_windows_style_options(false);
        Declare_Options(tool, settings);

        const auto commands = All_Commands();
        for (const Command& command : commands) {
            Declare_Command(tool, command);
        }
        const auto words = With_Help_As_Option(argument_count, arguments, commands);
        const Command* command = Parse(tool, commands, static_cast<int>(words.size()), words.data());
        return command ? command->run(settings) : Exit_Served;
    } catch (const Usage_Error& error) {
        Write_Message(error.what());
        return Exit_Wrong_Usage;
    } catch (const Reader_Gone&) {
        return Exit_Reader_Gone;
    } catch (const std::exception& error) {
        Write_Message(error.what());
        return Exit_Not_Served;
    }
}

} // namespace

} // namespace QEL::FrontEnd::Tool

int main(int argument_count, char** arguments) {
    QEL::FrontEnd::Tool::Host::Prepare_Standard_Streams();
    return QEL::FrontEnd::Tool::Run_Command_Line(argument_count, arguments);
}
