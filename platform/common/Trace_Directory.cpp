#include "util/Trace_Directory.h"

#include "platform/common/Configuration.h"
#include "util/Configuration_Source.h"
#include "util/Control_Characters.h"
#include "util/Process.h"

#include <algorithm>

namespace QEL::FrontEnd::Util::Tracing {

namespace {

constexpr const char* Variable = "QEL_TRACE_DIR";

} // namespace

void InitBuffer(Directory_Buffer& buffer) {
    buffer.fill('\0');
}

int InitTraceDir(Directory_Buffer& buffer) {
    using namespace Platform;
    std::string directory = Environment_Variable(Variable);
    if (directory.empty()) {
        const auto configured = Configuration::System().Read_Text(Configuration_Scope::User_Then_Machine, Options_Key,
                                                                  Trace_Directory_Value);
        directory = configured.value_or(std::string());
    }
    if (directory.empty() || directory.size() >= buffer.size() || Util::Holds_Line_Break_Or_Nul(directory)) {
        return 0;
    }
    InitBuffer(buffer);
    std::copy(directory.begin(), directory.end(), buffer.begin());
    return 1;
}

std::string Trace_Directory_Source() {
    if (!Environment_Variable(Variable).empty()) {
        return std::string("environment variable ") + Variable;
    }
    const auto configured = Find_Configured_Value(Platform::Options_Key, Trace_Directory_Value);
    return configured ? configured->place : std::string();
}

} // namespace QEL::FrontEnd::Util::Tracing
