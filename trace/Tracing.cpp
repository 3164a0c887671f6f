#include "trace/Tracing.h"

#include "trace/Set_Trace_Level.h"
#include "util/Process.h"

#include <array>
#include <cstdio>
#include <memory>
#include <mutex>

namespace QEL::FrontEnd::FileCache {

namespace {

struct Writer {
    std::mutex guard; ///< of the creation, replacement and reading of the writer, never of a write
    std::shared_ptr<Tracing> tracing;
};

/// Never destroyed: threads may still trace while the process ends.
Writer& The_Writer() {
    static auto& s_writer = *new Writer; // GCOVR_EXCL_BR_LINE: who waits for its making
    return s_writer;
}

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
    The_Writer().tracing = std::make_shared<Tracing>(file_name, level, CQelPcTrc::Option_System_Lock);
}

} // namespace

void Set_Trace_Level(QELPCTRC_LEVEL level) {
    const std::lock_guard guard(The_Writer().guard);
    Replace_Tracer(level);
}

Tracing* Get_Tracer() {
    auto& writer = The_Writer();
    const std::lock_guard guard(writer.guard);
    if (!writer.tracing) {
        Replace_Tracer(QELPCTRC_OFF);
    }
    return writer.tracing.get();
}

} // namespace QEL::FrontEnd::FileCache

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
