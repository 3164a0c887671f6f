#include "trace/TracingAdaptor.h"

namespace QEL::FrontEnd::Util::Tracing {

namespace {

std::shared_ptr<System_Mutex> Open_Lock_If_Needed(QELPCTRC_LEVEL level, std::uint32_t options) {
    const bool needed = level > QELPCTRC_OFF && (options & CQelPcTrc::Option_System_Lock) != 0;
    return needed ? System_Mutex::Open_Trace_Lock() : nullptr;
}

} // namespace

TracingAdaptor::TracingAdaptor(const std::string& file_name, QELPCTRC_LEVEL level, std::uint32_t options)
    : m_Trace(file_name.c_str(), level, options, Open_Lock_If_Needed(level, options)) {}

} // namespace QEL::FrontEnd::Util::Tracing
