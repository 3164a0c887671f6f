#include "util/tracing/Trace_Directory.h"

#include "platform/posix/configuration/Configuration.h"
#include "platform/posix/files/Files.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

std::string Configured_Directory() {
    if (const char* directory = std::getenv("QEL_TRACE_DIR"); directory != nullptr && *directory != '\0') {
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

} // namespace QEL::FrontEnd::Util::Tracing
