#pragma once

#include "trace/Set_Trace_Level.h"
#include "util/Non_Copyable.h"
#include "util/System_Mutex.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>

/// Lets the compiler check a printf format against its arguments.
#if defined(__MINGW_PRINTF_FORMAT)
#define QEL_PRINTF_FORMAT(format_index, first_argument)                                                                \
    __attribute__((format(__MINGW_PRINTF_FORMAT, format_index, first_argument)))
#elif defined(__GNUC__)
#define QEL_PRINTF_FORMAT(format_index, first_argument) __attribute__((format(printf, format_index, first_argument)))
#else
#define QEL_PRINTF_FORMAT(format_index, first_argument)
#endif

/// Writes the trace file. Each Log_ operation writes one message, as it stands: a message carries
/// its own line end.
///
/// Several threads and processes may write at the same time when the system-wide lock is on; they
/// take turns message by message.
class CQelPcTrc : private QEL::FrontEnd::Util::Non_Copyable {
public:
    /// Option: every write is guarded by the system-wide lock.
    static constexpr std::uint32_t Option_System_Lock = 1;

    /// @param file_name plain name, cut to 259 characters.
    /// @param mutex the system-wide lock; may be null, which every guarded write then reports.
    CQelPcTrc(const char* file_name, QELPCTRC_LEVEL level, std::uint32_t options,
              std::shared_ptr<QEL::FrontEnd::Util::Tracing::System_Mutex> mutex);
    ~CQelPcTrc();

    /// True when messages of this level are written: the whole cost of a message that is not.
    bool Is_Enabled(int message_level) const { return s_Main_Trace_Level >= message_level || m_Level >= message_level; }

    void Log_Error(const char* format, ...) QEL_PRINTF_FORMAT(2, 3);           ///< level 1
    void Log_Warning(const char* format, ...) QEL_PRINTF_FORMAT(2, 3);         ///< level 2
    void Log_Developer_Note(const char* format, ...) QEL_PRINTF_FORMAT(2, 3);  ///< level 3
    void Log_Additional_Data(const char* format, ...) QEL_PRINTF_FORMAT(2, 3); ///< level 4

private:
    /// Closes a trace file; the standard error stream stays open.
    struct Stream_Closer {
        void operator()(std::FILE* stream) const;
    };

    void Write_Line(int level, const char* format, std::va_list arguments);
    void Open_Stream();
    void Write_Header();
    bool SetLock();
    void ResetLock();
    bool Is_Time_Stamped() const { return m_Level == QELPCTRC_TIME_STAMPED; }

    /// A level for all writers of the process, which no operation changes. It stays 0.
    static std::int32_t s_Main_Trace_Level;

    std::unique_ptr<std::FILE, Stream_Closer> m_Stream; ///< empty until the first message is written
    std::array<char, 260> m_File_Name;
    std::int32_t m_Level;
    std::uint32_t m_Options;
    std::shared_ptr<QEL::FrontEnd::Util::Tracing::System_Mutex> m_Mutex;
};
