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

namespace QEL::FrontEnd::FileCache {

/// The trace writer of the cache.
class Tracing : public Util::Tracing::TracingAdaptor {
public:
    Tracing(const std::string& file_name, QELPCTRC_LEVEL level, std::uint32_t options)
        : TracingAdaptor(file_name, level, options) {}
};

/// The writer of this process, created at level 0 when there is none. Takes the guard of the writer
/// for a moment; the caller writes without it and without a share in the writer, see
/// Set_Trace_Level. Null only when the writer could not be named.
Tracing* Get_Tracer();

} // namespace QEL::FrontEnd::FileCache
