#pragma once

#include "tests/support/Scratch_Directory.h"
#include "tests/unit/support/Expected_Records.h"
#include "tests/unit/support/Scripted_Services.h"
#include "trace/CQelPcTrc.h"
#include "trace/Set_Trace_Level.h"
#include "util/Non_Copyable.h"

#include <gmock/gmock.h>

/// The bytes of a text on the disk, as this platform's text files hold it.
inline std::string On_Disk(const std::string& text) {
#ifdef _WIN32
    std::string bytes;
    for (const char character : text) {
        bytes += character == '\n' ? "\r\n" : std::string(1, character);
    }
    return bytes;
#else
    return text;
#endif
}

/// A system-wide lock that behaves as a test says.
class Scripted_Mutex : public QEL::FrontEnd::Util::Tracing::System_Mutex {
public:
    Wait_Result wait_result = Wait_Result::Acquired;
    bool release_result = true;
    std::uint32_t last_error = 0;
    std::function<void()> during_wait = [] {};
    std::function<void()> during_release = [] {};
    std::vector<std::string> calls; ///< "Wait(milliseconds)", "Release"

    Wait_Result Wait(std::uint32_t milliseconds) override {
        calls.push_back("Wait(" + std::to_string(milliseconds) + ")");
        during_wait();
        return wait_result;
    }
    bool Release() override {
        calls.emplace_back("Release");
        during_release();
        return release_result;
    }
    std::uint32_t Last_Error() const override { return last_error; }
};

/// Takes what is written to the standard error stream while it lives, or until it is asked for.
class Captured_Stderr : private QEL::FrontEnd::Util::Non_Copyable {
public:
    Captured_Stderr() { testing::internal::CaptureStderr(); }
    ~Captured_Stderr() {
        if (!m_Taken) {
            Take();
        }
    }
    std::string Take() {
        m_Taken = true;
        return testing::internal::GetCapturedStderr();
    }

private:
    bool m_Taken = false;
};

/// Fresh services, and a trace directory of the test's own.
class Trace_Fixture : public testing::Test {
protected:
    Trace_Fixture() {
        g_services.Reset();
        g_services.trace_directory = directory.string();
        g_services.mutex = mutex;
    }

    ~Trace_Fixture() override {
        CQelPcTrc::s_Main_Trace_Level = 0;
        QEL::FrontEnd::FileCache::Set_Trace_Level(QELPCTRC_OFF);
        g_services.Reset();
    }

    /// A writer without the system-wide lock.
    static CQelPcTrc Unlocked_Writer(int level) {
        return CQelPcTrc("writer.trc", static_cast<QELPCTRC_LEVEL>(level), 0, nullptr);
    }

    std::string Content(const std::string& name = "writer.trc") const {
        return QEL::Tests::Content_Of(directory / name);
    }

    bool Is_Directory_Empty() const { return std::filesystem::is_empty(directory); }

    /// The header, `stamp` before each of its lines but the last, empty one.
    static std::string Header(const std::string& stamp = "",
                              const std::string& mode = "Error, Warning, Developer Notes and additional data ") {
        return Recorded_Trace::File_Header(g_services.program_path, stamp, mode);
    }

    const QEL::Tests::Scratch_Directory scratch;
    const std::filesystem::path& directory = scratch.Path();
    std::shared_ptr<Scripted_Mutex> mutex = std::make_shared<Scripted_Mutex>();
};
