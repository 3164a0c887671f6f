#include "tests/support/Child_Process.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <pty.h>

namespace QEL::Tests {

namespace {

std::vector<std::string> Command_Of(const Tool_Run& run) {
    std::vector<std::string> command = {QEL_TOOL};
    command.insert(command.end(), run.arguments.begin(), run.arguments.end());
    return run.with_ordinary_rights ? With_Ordinary_Rights(command) : command;
}

/// The variables that the tool gets, as "name=value".
std::vector<std::string> Environment_Of(const Tool_Run& run) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string name(*variable, std::strcspn(*variable, "="));
        if (!run.environment.contains(name) && std::ranges::count(run.without_environment, name) == 0) {
            variables.emplace_back(*variable);
        }
    }
    for (const auto& [name, value] : run.environment) {
        variables.push_back(name + "=" + value);
    }
    return variables;
}

/// What a child needs to become the tool without allocating memory: threads of test servers run beside it.
class Prepared_Tool {
public:
    explicit Prepared_Tool(const Tool_Run& run)
        : m_Command(Command_Of(run)), m_Variables(Environment_Of(run)),
          m_Directory(run.working_directory.empty() ? "." : run.working_directory) {}

    /// With the streams that the child has. Does not return.
    [[noreturn]] void Become() {
        environ = m_Environment.data();
        if (::chdir(m_Directory.c_str()) != 0) {
            ::_exit(126);
        }
        ::execvp(m_Arguments.front(), m_Arguments.data());
        ::_exit(127);
    }

private:
    const std::vector<std::string> m_Command;
    const std::vector<std::string> m_Variables;
    const std::string m_Directory;
    std::vector<char*> m_Arguments = Pointers_To(m_Command);
    std::vector<char*> m_Environment = Pointers_To(m_Variables);
};

int Open(const std::string& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

/// In the child: puts files in the place of the standard streams.
void Redirect_Streams(const Tool_Run& run, const std::string& in_file, const std::string& out_file,
                      const std::string& err_file) {
    if (const int in = ::open(in_file.c_str(), O_RDONLY | O_CLOEXEC); ::dup2(in, STDIN_FILENO) == -1) {
        ::_exit(126);
    }
    int out = Open(run.standard_output_path.empty() ? out_file : run.standard_output_path);
    const int err = Open(err_file);
    if (int ends[2]; run.standard_output_without_reader && ::pipe(ends) == 0) {
        ::close(ends[0]);
        out = ends[1];
    }
    if (::dup2(out, STDOUT_FILENO) == -1 || ::dup2(err, STDERR_FILENO) == -1) {
        ::_exit(126);
    }
    if (run.standard_output_closed) {
        ::close(STDOUT_FILENO);
    }
}

int Exit_Status_Of(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) == -1) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Everything the tool writes to its terminal; the line ends are those of a terminal, CR LF.
Tool_Result Run_On_Terminal(const Tool_Run& run) {
    winsize size{};
    size.ws_row = 25;
    size.ws_col = *run.terminal_columns;
    int terminal = -1;
    Prepared_Tool tool(run);
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (child == -1) {
        throw std::runtime_error("forkpty failed");
    }
    if (child == 0) {
        tool.Become();
    }
    Tool_Result result;
    char buffer[4096];
    // The read fails once the tool has ended.
    for (ssize_t count = 0; (count = ::read(terminal, buffer, sizeof buffer)) > 0;) {
        result.out.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(terminal);
    result.exit_status = Exit_Status_Of(child);
    return result;
}

} // namespace

Tool_Result Run_Tool(const Tool_Run& run) {
    if (run.terminal_columns) {
        return Run_On_Terminal(run);
    }
    const Scratch_Directory streams;
    const std::string in = streams / "in";
    const std::string out = streams / "out";
    const std::string err = streams / "err";
    Prepared_Tool tool(run);
    std::ofstream(in, std::ios::binary) << run.standard_input;
    const int status = Child_Process([&]() -> int {
                           Redirect_Streams(run, in, out, err);
                           tool.Become();
                       }).Wait();
    return {std::max(status, -1), Content_Of(out), Content_Of(err)};
}

} // namespace QEL::Tests
