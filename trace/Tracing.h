#pragma once

#include "trace/TracingAdaptor.h"

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
