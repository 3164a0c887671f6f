#include "tests/tool/support/Tool_Process.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QEL::Tests {

namespace {

/// A file that disappears with its scope.
class Temporary_File {
public:
    Temporary_File() : m_Path((std::filesystem::temp_directory_path() / "qel-tool-output-XXXXXX").string()) {
        m_Descriptor = ::mkstemp(m_Path.data());
        if (m_Descriptor == -1) {
            throw std::runtime_error("no temporary file: " + m_Path);
        }
    }
    ~Temporary_File() {
        ::close(m_Descriptor);
        std::filesystem::remove(m_Path);
    }
    Temporary_File(const Temporary_File&) = delete;
    Temporary_File& operator=(const Temporary_File&) = delete;

    int Descriptor() const { return m_Descriptor; }

    std::string Content() const {
        std::ostringstream content;
        content << std::ifstream(m_Path, std::ios::binary).rdbuf();
        return content.str();
    }

private:
    std::string m_Path;
    int m_Descriptor;
};

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

/// In the child: becomes the tool. Does not return.
[[noreturn]] void Become_Tool(const Tool_Run& run, int out, int err) {
    for (const auto& name : run.without_environment) {
        ::unsetenv(name.c_str());
    }
    for (const auto& [name, value] : run.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    if (!run.working_directory.empty() && ::chdir(run.working_directory.c_str()) != 0) {
        ::_exit(126);
    }
    if (!run.standard_output_path.empty()) {
        out = ::open(run.standard_output_path.c_str(), O_WRONLY);
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

Tool_Result Run_Tool(const Tool_Run& run) {
    const Temporary_File out;
    const Temporary_File err;
    const pid_t child = ::fork();
    if (child == -1) {
        throw std::runtime_error("fork failed");
    }
    if (child == 0) {
        Become_Tool(run, out.Descriptor(), err.Descriptor());
    }
    int status = 0;
    while (::waitpid(child, &status, 0) == -1) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out.Content(), err.Content()};
}

} // namespace QEL::Tests
