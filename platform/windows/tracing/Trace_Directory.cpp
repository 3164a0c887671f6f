#include "util/Trace_Directory.h"

#include "platform/windows/Windows_Headers.h"
#include "platform/windows/configuration/Configuration.h"

#include <algorithm>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

constexpr const char* Variable = "QEL_TRACE_DIR";

/// Empty when the variable does not count.
std::string Directory_Of_Environment() {
    std::string directory(32767, '\0');
    directory.resize(GetEnvironmentVariableA(Variable, directory.data(), static_cast<DWORD>(directory.size())));
    return directory;
}

std::string Configured_Directory() {
    if (std::string directory = Directory_Of_Environment(); !directory.empty()) {
        return directory;
    }
    return Platform::Read_Text(Platform::Options_Key, "TraceDirectory").value_or(std::string());
}

} // namespace

void InitBuffer(Directory_Buffer& buffer) {
    buffer.fill('\0');
}

int InitTraceDir(Directory_Buffer& buffer) {
    const std::string directory = Configured_Directory();
    if (directory.empty() || directory.size() >= buffer.size()) {
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
    return Platform::Find_Key(Platform::Options_Key, "TraceDirectory");
}

} // namespace QEL::FrontEnd::Util::Tracing
