#include "tests/unit/support/Recorded_Trace.h"

#include "trace/CQelPcTrc.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace Recorded_Trace {

namespace {

struct Raw_Record {
    int level;
    std::string text;
};

std::vector<Raw_Record> s_records;
std::function<void()> s_during_each;

bool Is_Digit(char c) {
    return c >= '0' && c <= '9';
}
bool Is_Hexadecimal(char c) {
    return Is_Digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == 'x';
}
bool Is_Word(char c) {
    return Is_Digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

/// Takes a text apart from its beginning. By hand: regular expressions took more processor time than the
/// tests themselves.
class Reader {
public:
    explicit Reader(std::string_view text) : m_Rest(text) {}

    bool Skip(std::string_view expected) {
        if (!m_Rest.starts_with(expected)) {
            return false;
        }
        m_Rest.remove_prefix(expected.size());
        return true;
    }
    /// The longest run of such characters.
    std::string_view Read(bool (*is_wanted)(char)) {
        const auto end = std::find_if_not(m_Rest.begin(), m_Rest.end(), is_wanted);
        const auto found = m_Rest.substr(0, static_cast<std::size_t>(end - m_Rest.begin()));
        m_Rest.remove_prefix(found.size());
        return found;
    }
    std::string_view Rest() const { return m_Rest; }

private:
    std::string_view m_Rest;
};

/// The method of a record with a prefix; empty for a piece or a marker.
std::string Method_Of(const std::string& folded) {
    Reader reader(folded);
    const auto method = reader.Read(Is_Word);
    reader.Skip("[this]");
    return reader.Skip(": ") ? std::string(method) : std::string();
}

std::string Fold(const std::string& text) {
    Reader reader(text);
    if (!reader.Skip("TID: ") || reader.Read(Is_Digit).empty() || !reader.Skip(", QEL::FrontEnd::FileCache::")) {
        return text;
    }
    const bool of_the_class = reader.Skip("CFileCache::");
    if (!of_the_class && !reader.Skip("IFileCache::")) {
        return text;
    }
    std::string folded(reader.Read(Is_Word));
    if (of_the_class && reader.Skip("[")) {
        if (reader.Read(Is_Hexadecimal).empty() || !reader.Skip("]")) {
            return text;
        }
        folded += "[this]";
    }
    if (folded.empty() || !reader.Skip("/")) {
        return text;
    }
    const auto line = reader.Read(Is_Digit);
    if (line.empty() || line.front() == '0' || !reader.Skip(": ")) {
        return text;
    }
    return folded.append(": ").append(reader.Rest());
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
    for (const Raw_Record& raw : s_records) {
        records.push_back({raw.level, Fold(raw.text)});
    }
    return records;
}

Records Of(std::initializer_list<std::string> methods) {
    Records selected;
    std::string current;
    for (const Record& record : All()) {
        if (const std::string method = Method_Of(record.text); !method.empty()) {
            current = method;
        }
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
    for (const Raw_Record& raw : s_records) {
        texts.push_back(raw.text);
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
