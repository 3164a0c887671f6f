#pragma once

#include "trace/Tracing.h"
#include "trace/record_marks.h"
#include "util/Process.h"

#include <string>

/// Tracing in one line for the methods of CFileCache.
///
///     TRACE_CALL("url='%s'", url.c_str());       entry, "...CALL(url='...')"
///     TRACE_ERROR("...\n", ...);                 level 1; TRACE_WARNING 2, TRACE_NOTE 3, TRACE_DATA 4
///     TRACE_BUG();                               before the error of a state held impossible
///     return TRACED(path);                       exit, "...return value:(...)"
///     TRACE_RETURN("rtn = %s", path.c_str());    the same in a form of its own
///
/// The compiler checks each format. When the level is off, a message costs the guard and two
/// comparisons; its arguments are not evaluated.
///
/// A message is written under the name of the method it stands in. A helper that does a step on
/// behalf of a method names that method through TRACE_AS; null: the step is not recorded.

namespace QEL::FrontEnd::FileCache {

inline constexpr char Traced_Class[] = "QEL::FrontEnd::FileCache::CFileCache::";

/// The writer when it writes messages of this level, otherwise null.
inline CQelPcTrc* Enabled_Trace(int level) {
    Tracing* const tracer = Get_Tracer();
    // GCOVR_EXCL_BR_START: there is a writer with every tracer
    return tracer != nullptr && tracer->trace().Is_Enabled(level) ? &tracer->trace() : nullptr;
    // GCOVR_EXCL_BR_STOP
}

inline const char* Shown(bool value) {
    return value ? "true" : "false";
}

/// A text in an exit record: an empty one is made visible.
inline const char* Shown(const std::string& text) {
    return text.empty() ? "''" : text.c_str();
}
const char* Shown(const char*) = delete;

} // namespace QEL::FrontEnd::FileCache

/// One message of a method of this object.
#define TRACE_AS(method, operation, level, format, ...)                                                                \
    do {                                                                                                               \
        const char* const traced_method = method;                                                                      \
        CQelPcTrc* const trace_writer = traced_method == nullptr ? nullptr : Enabled_Trace(level);                     \
        if (trace_writer != nullptr) {                                                                                 \
            trace_writer->operation("TID: %d, %s%s[%p]/%d: " format, Util::Thread_Id(), Traced_Class, traced_method,   \
                                    static_cast<const void*>(this), __LINE__ __VA_OPT__(, ) __VA_ARGS__);              \
        }                                                                                                              \
    } while (false)

#define TRACE_ERROR_AS(method, ...) TRACE_AS(method, Log_Error, QELPCTRC_ERROR, __VA_ARGS__)
#define TRACE_DATA_AS(method, ...) TRACE_AS(method, Log_Additional_Data, QELPCTRC_ADDITIONAL_DATA, __VA_ARGS__)

#define TRACE_ERROR(...) TRACE_ERROR_AS(__func__, __VA_ARGS__)
#define TRACE_WARNING(...) TRACE_AS(__func__, Log_Warning, QELPCTRC_WARNING, __VA_ARGS__)
#define TRACE_NOTE(...) TRACE_AS(__func__, Log_Developer_Note, QELPCTRC_DEVELOPER_NOTE, __VA_ARGS__)
#define TRACE_DATA(...) TRACE_DATA_AS(__func__, __VA_ARGS__)

/// A message without prefix and line end.
#define TRACE_BUG()                                                                                                    \
    do {                                                                                                               \
        if (CQelPcTrc* const trace_writer = Enabled_Trace(QELPCTRC_ADDITIONAL_DATA)) {                                 \
            trace_writer->Log_Additional_Data("%s", Util::Tracing::Bug_Mark);                                          \
        }                                                                                                              \
    } while (false)

/// The entry of a method without arguments: one message.
#define TRACE_CALL_WITHOUT_ARGUMENTS() TRACE_DATA("CALL\n")

/// The entry of a method with its arguments: four messages.
#define TRACE_CALL(...)                                                                                                \
    do {                                                                                                               \
        if (CQelPcTrc* const trace_writer = Enabled_Trace(QELPCTRC_ADDITIONAL_DATA)) {                                 \
            trace_writer->Log_Additional_Data("TID: %d, %s%s[%p]/%d: CALL", Util::Thread_Id(), Traced_Class, __func__, \
                                              static_cast<const void*>(this), __LINE__);                               \
            trace_writer->Log_Additional_Data("(");                                                                    \
            trace_writer->Log_Additional_Data(__VA_ARGS__);                                                            \
            trace_writer->Log_Additional_Data(")\n");                                                                  \
        }                                                                                                              \
    } while (false)

/// The exit of a method with its result: four messages. It bears no object address.
#define TRACE_RETURN_AS(traced_class, method, line, ...)                                                               \
    do {                                                                                                               \
        if (CQelPcTrc* const trace_writer = Enabled_Trace(QELPCTRC_ADDITIONAL_DATA)) {                                 \
            trace_writer->Log_Additional_Data("TID: %d, %s%s/%d: return value:", Util::Thread_Id(), traced_class,      \
                                              method, line);                                                           \
            trace_writer->Log_Additional_Data("(");                                                                    \
            trace_writer->Log_Additional_Data(__VA_ARGS__);                                                            \
            trace_writer->Log_Additional_Data(")\n");                                                                  \
        }                                                                                                              \
    } while (false)

#define TRACE_RETURN(...) TRACE_RETURN_AS(Traced_Class, __func__, __LINE__, __VA_ARGS__)

namespace QEL::FrontEnd::FileCache {

template <typename Result>
Result Traced_Result(const char* method, int line, Result result) {
    TRACE_RETURN_AS(Traced_Class, method, line, "%s", Shown(result));
    return result;
}

} // namespace QEL::FrontEnd::FileCache

#define TRACED(result) Traced_Result(__func__, __LINE__, result)
