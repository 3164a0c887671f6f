#include "tests/tool/support/Tool_Process.h"

#include "tests/support/Temporary_Directory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QEL::Tests {

namespace {

std::vector<std::string> Command_Of(const Tool_Run& run) {
    std::vector<std::string> command;
    if (run.with_ordinary_rights && ::geteuid() == 0) {
        // Still root, so that the program can be reached, but without root's way past permissions.
        const char* const none = "-dac_override,-dac_read_search,-fowner";
        command = {"setpriv", "--bounding-set", none, "--inh-caps", none};
    }
    command.emplace_back(QEL_TOOL);
    command.insert(command.end(), run.arguments.begin(), run.arguments.end());
    return command;
}

int Open(const std::string& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

/// In the child: becomes the tool. Does not return.
[[noreturn]] void Become_Tool(const Tool_Run& run, const std::filesystem::path& out_file,
                              const std::filesystem::path& err_file) {
    for (const auto& name : run.without_environment) {
        ::unsetenv(name.c_str());
    }
    for (const auto& [name, value] : run.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    int out = Open(run.standard_output_path.empty() ? out_file.string() : run.standard_output_path);
    const int err = Open(err_file.string());
    if (!run.working_directory.empty() && ::chdir(run.working_directory.c_str()) != 0) {
        ::_exit(126);
    }
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
    std::vector<std::string> command = Command_Of(run);
    std::vector<char*> arguments;
    for (auto& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    ::execvp(arguments.front(), arguments.data());
    ::_exit(127);
}

} // namespace

std::string Read_File(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

Tool_Result Run_Tool(const Tool_Run& run) {
    const Temporary_Directory outputs;
    const auto out = outputs.Path() / "out";
    const auto err = outputs.Path() / "err";
    const pid_t child = ::fork();
    if (child == -1) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        Become_Tool(run, out, err);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) == -1) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read_File(out), Read_File(err)};
}

} // namespace QEL::Tests
