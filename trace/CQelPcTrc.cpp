#include "trace/CQelPcTrc.h"

#include "trace/record_marks.h"
#include "util/Path_Separator.h"
#include "util/Process.h"
#include "util/Standard_Error.h"
#include "util/Trace_Directory.h"
#include "util/Trace_File.h"

#include <ctime>
#include <utility>

using QEL::FrontEnd::Util::Hold_Length_Signal;
using QEL::FrontEnd::Util::Standard_Error;
using namespace QEL::FrontEnd::Util::Tracing;

namespace {

constexpr std::uint32_t Lock_Timeout_Milliseconds = 60000;
constexpr std::size_t Longest_Program_Path = 512;
constexpr std::size_t Longest_Path = 259;

constexpr const char* Asterisk_Line =
    "********************************************************************************";

using Time_Stamp = std::array<char, 255>;

Time_Stamp Format_Time_Stamp(const std::tm& local_time) {
    Time_Stamp stamp{};
    std::strftime(stamp.data(), stamp.size(), "(%d.%m.%y %H:%M:%S)", &local_time);
    return stamp;
}

const char* Describe_Main_Trace_Level(std::int32_t level) {
    switch (level) {
    case QELPCTRC_ERROR:
        return "Error ";
    case QELPCTRC_WARNING:
        return "Error and Warning ";
    case QELPCTRC_DEVELOPER_NOTE:
        return "Error, Warning and Developer notes ";
    default:
        return "Error, Warning, Developer Notes and additional data ";
    }
}

void Complain(const std::string& matter) {
    std::fprintf(Standard_Error(), "%s%s\n", Complaint_Label, matter.c_str());
}

} // namespace

std::int32_t CQelPcTrc::s_Main_Trace_Level = 0;

CQelPcTrc::CQelPcTrc(const char* file_name, QELPCTRC_LEVEL level, std::uint32_t options,
                     std::shared_ptr<System_Mutex> mutex)
    : m_File_Name{}, m_Level(level), m_Options(options), m_Mutex(std::move(mutex)) {
    std::snprintf(m_File_Name.data(), m_File_Name.size(), "%s", file_name);
}

CQelPcTrc::~CQelPcTrc() = default;

void CQelPcTrc::Stream_Closer::operator()(std::FILE* stream) const {
    if (stream != Standard_Error()) {
        std::fclose(stream);
    }
}

void CQelPcTrc::Log_Error(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Write_Line(QELPCTRC_ERROR, format, arguments);
    va_end(arguments);
}

void CQelPcTrc::Log_Warning(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Write_Line(QELPCTRC_WARNING, format, arguments);
    va_end(arguments);
}

void CQelPcTrc::Log_Developer_Note(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Write_Line(QELPCTRC_DEVELOPER_NOTE, format, arguments);
    va_end(arguments);
}

void CQelPcTrc::Log_Additional_Data(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Write_Line(QELPCTRC_ADDITIONAL_DATA, format, arguments);
    va_end(arguments);
}

void CQelPcTrc::Write_Line(int level, const char* format, std::va_list arguments) {
    if (!Is_Enabled(level)) {
        return;
    }
    const bool guarded = (m_Options & Option_System_Lock) != 0;
    if (guarded) {
        SetLock(); // a line without the lock is better than no line
    }
    // Asked once, as the question takes half as long as the line.
    static const bool s_is_limited = Hold_Length_Signal() != nullptr; // GCOVR_EXCL_BR_LINE: two threads ask at once
    const auto held = s_is_limited ? Hold_Length_Signal() : nullptr;
    if (!m_Stream) {
        Open_Stream();
        Write_Header();
    }

    std::FILE* const stream = m_Stream.get();
    if (Is_Time_Stamped()) {
        const bool begins_a_line = format[0] == '\n';
        std::fprintf(stream, begins_a_line ? "\n%s " : "%s ",
                     Format_Time_Stamp(QEL::FrontEnd::Util::Local_Time()).data());
        std::vfprintf(stream, begins_a_line ? format + 1 : format, arguments);
    } else {
        if (level == QELPCTRC_ERROR) {
            std::fputs(Error_Mark, stream);
        } else if (level == QELPCTRC_WARNING) {
            std::fputs(Warning_Mark, stream);
        }
        std::vfprintf(stream, format, arguments);
    }
    std::fflush(stream); // the file is complete up to the last message if the process dies

    if (guarded) {
        ResetLock();
    }
}

void CQelPcTrc::Open_Stream() {
    namespace Trace_Util = QEL::FrontEnd::Util::Tracing;

    std::string path = m_File_Name.data();
    Trace_Util::Directory_Buffer directory;
    Trace_Util::InitBuffer(directory);
    if (Trace_Util::InitTraceDir(directory) != 0) {
        path = QEL::FrontEnd::Util::FileSystem::Join_Path(directory.data(), path).substr(0, Longest_Path);
    }

    std::FILE* const file = Trace_Util::Open_Trace_File(path);
    m_Stream.reset(file != nullptr ? file : Standard_Error());
}

void CQelPcTrc::Write_Header() {
    const Time_Stamp stamp = Format_Time_Stamp(QEL::FrontEnd::Util::Local_Time());
    const std::string lines[] = {
        Asterisk_Line,
        Heading_Title,
        std::string(Heading_Level) + Describe_Main_Trace_Level(s_Main_Trace_Level),
        Heading_Program + QEL::FrontEnd::Util::Program_Path().substr(0, Longest_Program_Path),
        Asterisk_Line,
    }; // GCOVR_EXCL_BR_LINE: exceptions
    for (const std::string& line : lines) {
        if (Is_Time_Stamped()) {
            std::fprintf(m_Stream.get(), "%s ", stamp.data());
        }
        std::fprintf(m_Stream.get(), "%s\n", line.c_str());
    }
    std::fputs("\n", m_Stream.get());
}

bool CQelPcTrc::SetLock() {
    if (!m_Mutex) {
        Complain("invalid SetLock call (MUTEX is null)");
        return false;
    }
    switch (m_Mutex->Wait(Lock_Timeout_Milliseconds)) { // GCOVR_EXCL_BR_LINE: each value has its case
    case System_Mutex::Wait_Result::Acquired:
        return true;
    case System_Mutex::Wait_Result::Abandoned:
        Complain("lock holder died");
        return false;
    case System_Mutex::Wait_Result::Timed_Out:
        Complain("MUTEX timed out");
        return false;
    case System_Mutex::Wait_Result::Failed:
        break;
    }
    Complain("lock problem (" + std::to_string(static_cast<int>(m_Mutex->Last_Error())) + ")");
    return false;
}

void CQelPcTrc::ResetLock() {
    if (!m_Mutex) {
        return;
    }
    if (!m_Mutex->Release()) {
        Complain("lock reset failed (" + std::to_string(static_cast<int>(m_Mutex->Last_Error())) + ")");
    }
}
