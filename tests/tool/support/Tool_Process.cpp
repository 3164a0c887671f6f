#include "tests/support/Child_Process.h"
#include "tests/tool/support/Tool_Fixture.h"

#include <pty.h>

namespace QEL::Tests {

namespace {

std::string Quoted(const std::string& word) {
    return "'" + std::regex_replace(word, std::regex("'"), "'\\''") + "'";
}

/// What the shell becomes the tool with.
std::string Line_Of(const Tool_Run& run) {
    std::vector<std::string> words = {"env"};
    for (const char* const name : {"HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "QEL_TRACE_DIR", "http_proxy",
                                   "https_proxy", "no_proxy", "all_proxy", "COLUMNS", "NO_COLOR"}) {
        words.insert(words.end(), {"-u", name});
    }
    for (const auto& [name, value] : run.environment) {
        words.push_back(name + "=" + value);
    }
    words.emplace_back(QEL_TOOL);
    words.insert(words.end(), run.arguments.begin(), run.arguments.end());
    std::string line = "cd " + Quoted(run.working_directory) + " && exec";
    for (const std::string& word : run.with_ordinary_rights ? With_Ordinary_Rights(words) : words) {
        line += " " + Quoted(word);
    }
    return line;
}

int Exit_Status(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Everything the tool writes to its terminal; the line ends are those of a terminal, CR LF.
Tool_Result Run_On_Terminal(const Tool_Run& run) {
    const winsize size{25, *run.terminal_columns, 0, 0};
    int terminal = -1;
    const std::string line = Line_Of(run);
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        ::_exit(127);
    }
    Tool_Result result;
    char buffer[4096];
    // The read fails once the tool has ended.
    for (ssize_t count = 0; (count = ::read(terminal, buffer, sizeof buffer)) > 0;) {
        result.out.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(terminal);
    int status = 0;
    while (::waitpid(child, &status, 0) == -1 && errno == EINTR) {
    }
    result.exit_status = Exit_Status(status);
    return result;
}

} // namespace

Tool_Result Run_Tool(const Tool_Run& run) {
    if (run.terminal_columns) {
        return Run_On_Terminal(run);
    }
    const Scratch_Directory streams;
    const std::string in = streams.Write("in", run.standard_input);
    const std::string out = streams / "out";
    const std::string err = streams / "err";
    const int status =
        std::system((Line_Of(run) + " <" + in + " >" + out + " 2>" + err + " " + run.redirections).c_str());
    return {Exit_Status(status), Content_Of(out), Content_Of(err)};
}

} // namespace QEL::Tests
