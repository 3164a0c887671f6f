#include "bench/support/Program.h"

#include <chrono>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace QEL::Bench {

namespace {

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

} // namespace

Program_Cost Run_Program(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t output;
    ::posix_spawn_file_actions_init(&output);
    ::posix_spawn_file_actions_addopen(&output, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);

    const auto start = std::chrono::steady_clock::now();
    pid_t id = 0;
    const int result = ::posix_spawnp(&id, arguments.front(), &output, nullptr, arguments.data(), ::environ);
    ::posix_spawn_file_actions_destroy(&output);
    if (result != 0) {
        throw std::runtime_error("cannot start " + command.front());
    }
    int status = 0;
    rusage usage{};
    ::wait4(id, &status, 0, &usage);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(command.front() + " failed");
    }
    return {time.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024};
}

} // namespace QEL::Bench
