#pragma once

#include "tests/support/Standard_Library.h"
#include "util/System_Mutex.h"

/// A system-wide lock that behaves as a test says.
class Scripted_Mutex : public QEL::FrontEnd::Util::Tracing::System_Mutex {
public:
    Wait_Result wait_result = Wait_Result::Acquired;
    bool release_result = true;
    std::uint32_t last_error = 0;
    std::function<void()> during_wait;
    std::function<void()> during_release;
    std::vector<std::string> calls; ///< "Wait(milliseconds)", "Release"

    Wait_Result Wait(std::uint32_t milliseconds) override;
    bool Release() override;
    std::uint32_t Last_Error() const override { return last_error; }
};

/// The services behind the trace writer, as these tests link them.
struct Trace_Services {
    int process_id = 7;
    std::string program_path = "C:\\host\\program.exe";
    std::string trace_directory; ///< empty: none is configured
    std::function<std::tm()> local_time;
    std::shared_ptr<QEL::FrontEnd::Util::Tracing::System_Mutex> mutex; ///< what opening the lock gives
    int mutexes_opened = 0;
    std::shared_ptr<void> length_signal;      ///< null: files have no limit
    std::vector<std::string> directory_calls; ///< "InitBuffer", "InitTraceDir"
};

extern Trace_Services g_trace_services;
