#include "tests/unit/support/Recorded_Trace.h"

#include "trace/CQelPcTrc.h"

namespace Recorded_Trace {

namespace {

Records s_records; ///< as they were written
std::function<void()> s_during_each;

/// The prefix of a record: its method, whether it names an object, and what stands behind it.
struct Prefix {
    std::string method;
    bool has_object = false;
    std::string rest;
};

/// Without regular expressions, which took more processor time than the tests themselves.
std::optional<Prefix> Prefix_Of(const std::string& text) {
    const auto thread_end = text.find_first_not_of("0123456789", 5);
    const auto begins = [&](const std::string& type) {
        const std::string named = ", QEL::FrontEnd::FileCache::" + type + "::";
        return text.starts_with("TID: ") && thread_end > 5 && text.compare(thread_end, named.size(), named) == 0
                   ? thread_end + named.size()
                   : 0;
    };
    const auto of_class = begins("CFileCache");
    const char* const behind = text.c_str() + std::max(of_class, begins("IFileCache"));
    std::array<char, 80> method{};
    int line = 0;
    int length = 0;
    std::sscanf(behind, "%79[A-Za-z_][%*[0-9A-Fa-fx]]/%d%n", method.data(), &line, &length);
    const bool has_object = length > 0;
    if (!has_object) {
        std::sscanf(behind, "%79[A-Za-z_]/%d%n", method.data(), &line, &length);
    }
    const std::string rest = behind + length;
    if (behind == text.c_str() || (has_object && of_class == 0) || line <= 0 || !rest.starts_with(": ")) {
        return std::nullopt;
    }
    return Prefix{method.data(), has_object, rest};
}

} // namespace

void Add(int level, const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    s_records.push_back({level, text});
    if (s_during_each) {
        s_during_each();
    }
}

Records All() {
    Records records;
    for (const auto& [level, text] : s_records) {
        const auto prefix = Prefix_Of(text);
        records.push_back(
            {level, prefix ? prefix->method + (prefix->has_object ? "[this]" : "") + prefix->rest : text});
    }
    return records;
}

Records Of(std::initializer_list<std::string> methods) {
    Records records = All();
    Records selected;
    std::string current;
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (const auto prefix = Prefix_Of(s_records[i].text)) { // pieces and markers belong to the record before
            current = prefix->method;
        }
        if (std::find(methods.begin(), methods.end(), current) != methods.end()) {
            selected.push_back(records[i]);
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
    for (const Record& record : s_records) {
        texts.push_back(record.text);
    }
    return texts;
}

void Forget() {
    s_records.clear();
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
