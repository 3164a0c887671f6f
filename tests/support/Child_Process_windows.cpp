#include "tests/support/Child_Process.h"

#include <windows.h>

namespace QEL::Tests {

struct Child_Process::State {
    PROCESS_INFORMATION process{};
    ~State() {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
};

std::vector<std::string> Beside_The_Tests(const std::string& program, const std::vector<std::string>& arguments) {
    char here_text[MAX_PATH];
    const std::filesystem::path here(std::string(here_text, GetModuleFileNameA(nullptr, here_text, MAX_PATH)));
    std::vector<std::string> command = {(here.parent_path() / (program + ".exe")).make_preferred().string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Child_Process::Child_Process(const std::vector<std::string>& command) : m_State(std::make_unique<State>()) {
    std::string line = '"' + command.front() + '"';
    for (auto argument = command.begin() + 1; argument != command.end(); ++argument) {
        line += " " + *argument;
    }
    STARTUPINFOA start{};
    start.cb = sizeof start;
    if (CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &m_State->process) ==
        0) {
        throw std::runtime_error("cannot start " + line);
    }
}

Child_Process::~Child_Process() {
    if (m_State) {
        Kill();
    }
}

const int Child_Process::Killed = 0x4B494C4C; // a status that no program and no exception has

int Child_Process::Kill() {
    TerminateProcess(m_State->process.hProcess, static_cast<UINT>(Killed));
    return Wait();
}

int Child_Process::Wait() {
    DWORD status = 0;
    WaitForSingleObject(m_State->process.hProcess, INFINITE);
    GetExitCodeProcess(m_State->process.hProcess, &status);
    m_State.reset();
    return static_cast<int>(status);
}

} // namespace QEL::Tests
