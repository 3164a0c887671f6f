#include "tests/faults/support/Worker_Process.h"

#include "tests/support/Child_Process.h"
#include "util/Process.h"

#include <csignal>
#include <filesystem>

namespace QEL::Tests {

struct Worker_Process::State {
    explicit State(const std::vector<std::string>& command) : process(command) {}

    Child_Process process;
};

Worker_Process::Worker_Process(const std::string& program, const std::vector<std::string>& arguments) {
    const std::filesystem::path here = FrontEnd::Util::Program_Path();
    std::vector<std::string> command = {(here.parent_path() / program).string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_State = std::make_unique<State>(command);
}

Worker_Process::~Worker_Process() {
    if (m_State) {
        Kill();
    }
}

const int Worker_Process::Killed = -SIGKILL;

int Worker_Process::Kill() {
    m_State->process.Signal(SIGKILL);
    return Wait();
}

int Worker_Process::Wait() {
    const int status = m_State->process.Wait();
    m_State.reset();
    return status;
}

} // namespace QEL::Tests
