#include "trace/Tracing.h"

#include "trace/Set_Trace_Level.h"
#include "util/Process.h"

#include <array>
#include <cstdio>
#include <memory>
#include <mutex>

namespace QEL::FrontEnd::FileCache {

namespace {

/// Guards the creation, replacement and reading of the writer, never a write.
std::mutex s_trace_guard;
std::shared_ptr<Tracing> s_tracing;

std::string Trace_File_Name() {
    std::array<char, 4160> name{};
    const int length = std::snprintf(name.data(), name.size(), "qelfilecache_%.4d.trc", Util::Process_Id());
    return length > 0 ? std::string(name.data()) : std::string(); // GCOVR_EXCL_BR_LINE: the name has a fixed form
}

/// Requires the guard.
void Replace_Tracer(QELPCTRC_LEVEL level) {
    const std::string file_name = Trace_File_Name();
    if (file_name.empty()) { // GCOVR_EXCL_BR_LINE: the name has a fixed form
        return;              // GCOVR_EXCL_LINE
    }
    s_tracing = std::make_shared<Tracing>(file_name, level, CQelPcTrc::Option_System_Lock);
}

} // namespace

void Set_Trace_Level(QELPCTRC_LEVEL level) {
    const std::lock_guard guard(s_trace_guard);
    Replace_Tracer(level);
}

Tracing* Get_Tracer() {
    const std::lock_guard guard(s_trace_guard);
    if (!s_tracing) {
        Replace_Tracer(QELPCTRC_OFF);
    }
    return s_tracing.get();
}

} // namespace QEL::FrontEnd::FileCache
