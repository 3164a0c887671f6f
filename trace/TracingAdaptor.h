#pragma once

#include "trace/CQelPcTrc.h"

#include <cstdint>
#include <string>

namespace QEL::FrontEnd::Util::Tracing {

/// Builds and owns the writer of one trace file. The file is closed with the object.
class TracingAdaptor {
public:
    CQelPcTrc& trace() { return m_Trace; }

protected:
    /// @param options see CQelPcTrc. The system-wide lock is opened only for a level that can write.
    TracingAdaptor(const std::string& file_name, QELPCTRC_LEVEL level, std::uint32_t options);
    ~TracingAdaptor() = default;

private:
    CQelPcTrc m_Trace;
};

} // namespace QEL::FrontEnd::Util::Tracing
