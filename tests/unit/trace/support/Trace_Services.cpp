#include "tests/unit/trace/support/Trace_Services.h"

#include "util/Path_Separator.h"
#include "util/Process.h"
#include "util/Standard_Error.h"
#include "util/Trace_Directory.h"
#include "util/Trace_File.h"

Trace_Services g_trace_services;

Scripted_Mutex::Wait_Result Scripted_Mutex::Wait(std::uint32_t milliseconds) {
    calls.push_back("Wait(" + std::to_string(milliseconds) + ")");
    if (during_wait) {
        during_wait();
    }
    return wait_result;
}

bool Scripted_Mutex::Release() {
    calls.emplace_back("Release");
    if (during_release) {
        during_release();
    }
    return release_result;
}

namespace QEL::FrontEnd::Util {

int Process_Id() {
    return g_trace_services.process_id;
}
int Thread_Id() {
    return 17;
}
std::string Program_Path() {
    return g_trace_services.program_path;
}
std::shared_ptr<void> Hold_Length_Signal() {
    return g_trace_services.length_signal;
}
std::tm Local_Time() {
    return g_trace_services.local_time ? g_trace_services.local_time() : std::tm{};
}

std::FILE* Standard_Error() {
    return stderr;
}

namespace FileSystem {

char Path_Separator(const std::string& directory) {
    return directory.starts_with('/') ? '/' : '\\';
}

} // namespace FileSystem

namespace Tracing {

std::shared_ptr<System_Mutex> System_Mutex::Open_Trace_Lock() {
    ++g_trace_services.mutexes_opened;
    return g_trace_services.mutex;
}

std::FILE* Open_Trace_File(const std::string& path) {
    return std::fopen(path.c_str(), "w");
}

void InitBuffer(Directory_Buffer& buffer) {
    g_trace_services.directory_calls.emplace_back("InitBuffer");
    buffer.fill('\0');
}

int InitTraceDir(Directory_Buffer& buffer) {
    g_trace_services.directory_calls.emplace_back("InitTraceDir");
    const std::string& directory = g_trace_services.trace_directory;
    if (directory.empty() || directory.size() >= buffer.size()) {
        return 0;
    }
    std::copy(directory.begin(), directory.end(), buffer.begin());
    return 1;
}

} // namespace Tracing

} // namespace QEL::FrontEnd::Util
