#include "tests/faults/support/Worker_Process.h"

#include "util/Process.h"

#include <filesystem>
#include <stdexcept>

#include <windows.h>

namespace QEL::Tests {

struct Worker_Process::State {
    PROCESS_INFORMATION process{};
    ~State() {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
};

Worker_Process::Worker_Process(const std::string& program, const std::vector<std::string>& arguments)
    : m_State(std::make_unique<State>()) {
    const std::filesystem::path here = FrontEnd::Util::Program_Path();
    std::string command = '"' + (here.parent_path() / (program + ".exe")).make_preferred().string() + '"';
    for (const std::string& argument : arguments) {
        command += " " + argument;
    }
    STARTUPINFOA start{};
    start.cb = sizeof start;
    if (CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                       &m_State->process) == 0) {
        throw std::runtime_error("cannot start " + command);
    }
}

Worker_Process::~Worker_Process() {
    if (m_State) {
        Kill();
    }
}

const int Worker_Process::Killed = 0x4B494C4C; // a status that no program and no exception has

int Worker_Process::Kill() {
    TerminateProcess(m_State->process.hProcess, static_cast<UINT>(Killed));
    return Wait();
}

int Worker_Process::Wait() {
    DWORD status = 0;
    WaitForSingleObject(m_State->process.hProcess, INFINITE);
    GetExitCodeProcess(m_State->process.hProcess, &status);
    m_State.reset();
    return static_cast<int>(status);
}

} // namespace QEL::Tests
