#include "tests/unit/support/Recorded_Trace.h"

#include "trace/CQelPcTrc.h"

namespace Recorded_Trace {

namespace {

/// A record as it was written, and as a test sees it.
struct Written {
    std::string text;
    std::string method; ///< empty: a piece or a marker, which belongs to the record before
    Record record;
};

std::vector<Written> s_written;
std::function<void()> s_during_each;

std::string Formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    va_copy(again, arguments);
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

} // namespace

void Add(int level, const char* format, std::va_list arguments) {
    Written& written = s_written.emplace_back(Written{Formatted(format, arguments), "", {level, ""}});
    std::string& folded = written.record.text;
    const std::string_view begin(format);
    const bool has_object = begin.starts_with("TID: %d, %s%s[%p]/%d: ");
    if (has_object || begin.starts_with("TID: %d, %s%s/%d: ")) {
        const int thread = va_arg(arguments, int);
        const std::string type = va_arg(arguments, const char*);
        const std::string method = va_arg(arguments, const char*);
        const bool has_its_object = !has_object || va_arg(arguments, const void*) != nullptr;
        const int line = va_arg(arguments, int);
        const bool of_class = type == "QEL::FrontEnd::FileCache::CFileCache::";
        const bool of_interface = type == "QEL::FrontEnd::FileCache::IFileCache::" && !has_object;
        if (thread > 0 && has_its_object && (of_class || of_interface) && line > 0) {
            written.method = method;
            folded = Formatted(format + begin.find(": ", 5), arguments);
            folded.insert(0, method + (has_object ? "[this]" : ""));
        }
    }
    if (written.method.empty()) {
        folded = written.text;
    }
    if (s_during_each) {
        s_during_each();
    }
}

Records All() {
    Records records;
    for (const Written& written : s_written) {
        records.push_back(written.record);
    }
    return records;
}

Records Of(std::initializer_list<std::string> methods) {
    Records selected;
    std::string current;
    for (const auto& [text, method, record] : s_written) {
        current = method.empty() ? current : method;
        if (std::find(methods.begin(), methods.end(), current) != methods.end()) {
            selected.push_back(record);
        }
    }
    return selected;
}

Records Above_Additional_Data() {
    Records records = All();
    std::erase_if(records, [](const Record& record) { return record.level > QELPCTRC_DEVELOPER_NOTE; });
    return records;
}

std::vector<std::string> Raw_Texts() {
    std::vector<std::string> texts;
    for (const Written& written : s_written) {
        texts.push_back(written.text);
    }
    return texts;
}

void Forget() {
    s_written.clear();
}

During_Each::During_Each(std::function<void()> action) {
    s_during_each = std::move(action);
}

During_Each::~During_Each() {
    s_during_each = nullptr;
}

} // namespace Recorded_Trace

// The trace writer of the unit tests: it keeps what it is given.

std::int32_t CQelPcTrc::s_Main_Trace_Level = 0;

CQelPcTrc::CQelPcTrc(const char*, QELPCTRC_LEVEL level, std::uint32_t options,
                     std::shared_ptr<QEL::FrontEnd::Util::Tracing::System_Mutex> mutex)
    : m_File_Name{}, m_Level(level), m_Options(options), m_Mutex(std::move(mutex)) {}

CQelPcTrc::~CQelPcTrc() = default;

void CQelPcTrc::Stream_Closer::operator()(std::FILE*) const {}

#define QEL_RECORDING_OPERATION(operation, level)                                                                      \
    void CQelPcTrc::operation(const char* format, ...) {                                                               \
        if (!Is_Enabled(level)) {                                                                                      \
            return;                                                                                                    \
        }                                                                                                              \
        std::va_list arguments;                                                                                        \
        va_start(arguments, format);                                                                                   \
        Recorded_Trace::Add(level, format, arguments);                                                                 \
        va_end(arguments);                                                                                             \
    }

QEL_RECORDING_OPERATION(Log_Error, QELPCTRC_ERROR)
QEL_RECORDING_OPERATION(Log_Warning, QELPCTRC_WARNING)
QEL_RECORDING_OPERATION(Log_Developer_Note, QELPCTRC_DEVELOPER_NOTE)
QEL_RECORDING_OPERATION(Log_Additional_Data, QELPCTRC_ADDITIONAL_DATA)
