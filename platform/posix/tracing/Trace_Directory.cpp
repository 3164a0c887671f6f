#include "util/Trace_Directory.h"

#include "platform/posix/configuration/Configuration.h"
#include "platform/posix/files/Files.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

constexpr const char* Variable = "QEL_TRACE_DIR";

/// Empty when the variable does not count.
std::string Directory_Of_Environment() {
    const char* const directory = std::getenv(Variable);
    return directory == nullptr ? std::string() : directory;
}

std::string Configured_Directory() {
    if (std::string directory = Directory_Of_Environment(); !directory.empty()) {
        return directory;
    }
    return Platform::Configuration::System()
        .Read_Text(Platform::Configuration_Scope::User_Then_Machine, Platform::Options_Section, "TraceDirectory")
        .value_or(std::string());
}

} // namespace

void InitBuffer(Directory_Buffer& buffer) {
    buffer.fill('\0');
}

int InitTraceDir(Directory_Buffer& buffer) {
    const std::string directory = Configured_Directory();
    if (directory.empty() || directory.size() >= buffer.size() || Platform::Holds_Line_Break_Or_Nul(directory)) {
        return 0;
    }
    InitBuffer(buffer);
    std::copy(directory.begin(), directory.end(), buffer.begin());
    return 1;
}

std::string Trace_Directory_Source() {
    if (!Directory_Of_Environment().empty()) {
        return std::string("environment variable ") + Variable;
    }
    return Platform::Configuration::System()
        .Find_File(Platform::Configuration_Scope::User_Then_Machine, Platform::Options_Section, "TraceDirectory")
        .value_or(std::string());
}

} // namespace QEL::FrontEnd::Util::Tracing
