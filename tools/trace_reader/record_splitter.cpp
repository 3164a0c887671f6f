#include "tools/trace_reader/messages.h"
#include "tools/trace_reader/records.h"
#include "trace/record_marks.h"

#include <algorithm>
#include <charconv>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

using namespace Util::Tracing;

constexpr std::string_view thread_label = "TID: ";
constexpr std::string_view name_space = ", QEL::FrontEnd::FileCache::";
constexpr std::string_view end_without_line_end = "Win32 error code: ";
constexpr std::size_t heading_width = 80;

constexpr std::string_view digits = "0123456789";
constexpr std::string_view name_characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_~";
constexpr std::size_t longest_name = 64;
constexpr std::size_t longest_address = 24;

/// Takes a text off the front; false when it does not begin so.
bool Take(std::string_view& text, std::string_view expected) {
    if (!text.starts_with(expected)) {
        return false;
    }
    text.remove_prefix(expected.size());
    return true;
}

std::string_view Take_Name(std::string_view& text) {
    auto name = text.substr(0, longest_name);
    name = name.substr(0, name.find_first_not_of(name_characters));
    text.remove_prefix(name.size());
    return name;
}

bool Take_Number(std::string_view& text, std::int32_t& number) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (parsed.ec != std::errc()) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(parsed.ptr - text.data()));
    return true;
}

/// The process id in a name such as "qelfilecache_0123.trc"; empty when there is none.
std::string_view Process_In(std::string_view name) {
    name = name.substr(name.find_last_of("/\\") + 1);
    const auto underscore = name.find('_');
    if (underscore == std::string_view::npos) {
        return {};
    }
    name = name.substr(underscore + 1);
    return name.substr(0, name.find_first_not_of(digits));
}

class Record_Splitter {
public:
    Record_Splitter(Trace& trace, std::uint32_t file, std::uint32_t first_line)
        : m_Trace(trace), m_Content(trace.files[file].content), m_File(file), m_Line(first_line - 1) {}

    bool Split() {
        for (std::size_t begin = 0; begin < m_Content.size();) {
            const std::size_t line_end = std::min(m_Content.find('\n', begin), m_Content.size());
            ++m_Line;
            Split_Line(begin, line_end);
            begin = line_end + 1;
        }
        End_Run();
        return m_Found_Anything;
    }

private:
    /// The beginning of a record: everything before its text.
    struct Prefix {
        std::size_t begin = 0;
        std::size_t end = 0;
        std::string_view object; ///< address of the cache object; empty when there is none
        Record record;           ///< with what the prefix says of it
    };

    void Split_Line(std::size_t begin, std::size_t end) {
        if (Take_Heading_Line(begin, m_Content.substr(begin, end - begin))) {
            return;
        }
        m_In_Heading = false;
        if (m_Content.substr(begin, end - begin).starts_with(Complaint_Label)) {
            Take_Writer_Line(begin, end);
            return;
        }
        const auto line = m_Content.substr(0, end);
        for (auto label = line.find(thread_label, begin); label != std::string_view::npos;
             label = line.find(thread_label, label + 1)) {
            Prefix prefix;
            if (!Parse_Prefix(label, begin, end, prefix)) {
                continue;
            }
            const bool begins_the_line = prefix.begin == begin;
            if (!begins_the_line && !May_Begin_Inside_A_Line(prefix)) {
                continue;
            }
            const bool mixed = !begins_the_line && Stands_Between_Pieces(prefix.begin);
            if (m_In_Record) {
                m_Record.incomplete = m_Record.incomplete || mixed;
                End_Record(prefix.begin);
            }
            Begin_Record(prefix);
            m_Record.incomplete = mixed;
            if (begins_the_line && m_Object.empty()) {
                m_Object = prefix.object;
            }
            label = prefix.end - 1;
        }
        m_Text_End = end;
    }

    /// The heading of a file, a line each; it may stand behind the rest of a record.
    bool Take_Heading_Line(std::size_t begin, std::string_view line) {
        std::size_t stamp = 0;
        Local_Time time = No_Time;
        if (Parse_Time_Stamp(line, time) && line.size() > time_stamp_size) {
            stamp = time_stamp_size + 1;
        }
        auto text = line.substr(stamp);
        if (text.starts_with(Heading_Title)) {
            End_Run();
            Begin_Run();
            m_Run.has_times = stamp != 0;
            m_In_Heading = true;
            return true;
        }
        if (m_In_Heading && Take(text, Heading_Level)) {
            m_Run.level = Without_Blanks(text);
            return true;
        }
        if (m_In_Heading && Take(text, Heading_Program)) {
            m_Run.program = Without_Blanks(text);
            return true;
        }
        const auto asterisks = line.size() - (line.find_last_not_of('*') + 1);
        if (asterisks < heading_width) {
            return false;
        }
        const auto before = line.size() - asterisks;
        if (before > stamp) {
            Split_Line(begin, begin + before);
            End_Record(begin + before);
        }
        return true;
    }

    bool Parse_Prefix(std::size_t label, std::size_t line_begin, std::size_t line_end, Prefix& prefix) const {
        auto rest = m_Content.substr(label, line_end - label);
        if (!Take(rest, thread_label) || !Take_Number(rest, prefix.record.thread) || !Take(rest, name_space)) {
            return false;
        }
        const auto class_name = Take_Name(rest);
        if ((class_name != "CFileCache" && class_name != "IFileCache") || !Take(rest, "::")) {
            return false;
        }
        prefix.record.method = Take_Name(rest);
        if (prefix.record.method.empty()) {
            return false;
        }
        if (Take(rest, "[")) {
            const auto end = rest.substr(0, longest_address).find(']');
            if (end == std::string_view::npos) {
                return false;
            }
            prefix.object = rest.substr(0, end);
            rest.remove_prefix(end + 1);
        }
        std::int32_t source_line = 0;
        if (!Take(rest, "/") || !Take_Number(rest, source_line) || !Take(rest, ": ")) {
            return false;
        }
        prefix.begin = label;
        prefix.end = line_end - rest.size();
        Look_Back(line_begin, prefix);
        return true;
    }

    /// Takes what stands before the thread into the prefix: mark or time, and that it is of a bug.
    void Look_Back(std::size_t line_begin, Prefix& prefix) const {
        const auto take_back = [&](std::string_view expected) {
            if (!m_Content.substr(line_begin, prefix.begin - line_begin).ends_with(expected)) {
                return false;
            }
            prefix.begin -= expected.size();
            return true;
        };
        const auto take_back_time = [&](Local_Time& time) {
            constexpr std::size_t size = time_stamp_size + 1;
            if (prefix.begin - line_begin >= size && Parse_Time_Stamp(m_Content.substr(prefix.begin - size), time)) {
                prefix.begin -= size;
            }
        };
        if (take_back(Error_Mark)) {
            prefix.record.severity = Severity::Error;
        } else if (take_back(Warning_Mark)) {
            prefix.record.severity = Severity::Warning;
        } else {
            take_back_time(prefix.record.time);
        }
        prefix.record.bug = take_back(Bug_Mark);
        Local_Time time_of_bug = No_Time;
        if (prefix.record.bug && prefix.record.time != No_Time) {
            take_back_time(time_of_bug);
        }
    }

    bool May_Begin_Inside_A_Line(const Prefix& prefix) {
        if (!m_In_Record || Stands_Between_Pieces(prefix.begin)) {
            return true;
        }
        const auto text = m_Content.substr(m_Text_Begin, prefix.begin - m_Text_Begin);
        const auto number = text.find_last_not_of(digits);
        if (number != std::string_view::npos && number + 1 < text.size() &&
            text.substr(0, number + 1).ends_with(end_without_line_end)) {
            return true;
        }
        if (!prefix.object.empty() && prefix.object == m_Object) {
            return true;
        }
        // Arguments and results, outside of quotes, may be followed by another thread's record.
        for (; m_Quotes_Counted_To < prefix.begin; ++m_Quotes_Counted_To) {
            m_Quotes_Even = m_Quotes_Even != (m_Content[m_Quotes_Counted_To] == '\'');
        }
        return Is_Call_Or_Return(text) && m_Quotes_Even && text.ends_with('\'') &&
               prefix.record.thread != m_Record.thread;
    }

    /// True when the current record is a call or return of which only the first pieces stand before `end`.
    bool Stands_Between_Pieces(std::size_t end) const {
        constexpr std::size_t longest = 64; // "return value:" and "(", each behind a time stamp
        if (!m_In_Record || end - m_Text_Begin > longest) {
            return false;
        }
        auto text = m_Content.substr(m_Text_Begin, end - m_Text_Begin);
        if (!Take(text, "CALL") && !Take(text, "return value:")) {
            return false;
        }
        text = Without_Time_Stamp(text);
        return text.empty() || text == "(";
    }

    void Begin_Record(const Prefix& prefix) {
        if (!m_In_Run) {
            Begin_Run();
        }
        m_Run.has_times = m_Run.has_times || prefix.record.time != No_Time;
        m_Record = prefix.record;
        m_Record.line = m_Line;
        m_In_Record = true;
        m_Text_Begin = prefix.end;
        m_Quotes_Counted_To = prefix.end;
        m_Quotes_Even = true;
    }

    void End_Record(std::size_t end) {
        if (!m_In_Record) {
            return;
        }
        m_In_Record = false;
        m_Record.run = static_cast<std::uint32_t>(m_Trace.runs.size());
        Interpret_Text(m_Content.substr(m_Text_Begin, end - m_Text_Begin), m_Record);
        if (m_Record.kind == Record_Kind::Message) {
            // With a time, there is no mark: only the words count. And some marks are for show.
            const Severity meant = Recognise(m_Record.text).Meant_Severity();
            if (m_Record.time != No_Time || meant == Severity::Note) {
                m_Record.severity = meant;
            }
        }
        m_Trace.records.push_back(m_Record);
    }

    /// The trace writer complains on the standard error stream, which may hold records as well.
    void Take_Writer_Line(std::size_t begin, std::size_t end) {
        End_Record(begin);
        if (!m_In_Run) {
            Begin_Run();
        }
        Record complaint;
        complaint.kind = Record_Kind::Writer;
        complaint.severity = Severity::Warning;
        complaint.text = m_Content.substr(begin, end - begin);
        complaint.line = m_Line;
        complaint.run = static_cast<std::uint32_t>(m_Trace.runs.size());
        m_Trace.records.push_back(complaint);
    }

    void Begin_Run() {
        m_Found_Anything = true;
        m_In_Run = true;
        m_Run = Run();
        m_Run.file = m_File;
        m_Run.line = m_Line;
        m_Run.process = Process_In(m_Trace.files[m_File].name);
        m_Object = {};
    }

    void End_Run() {
        const bool is_cut_off = m_In_Record && m_Text_End == m_Content.size() &&
                                m_Content.find('\n', m_Text_Begin) == std::string_view::npos;
        End_Record(m_Text_End);
        if (is_cut_off && m_Trace.records.back().kind != Record_Kind::Message) {
            m_Trace.records.back().incomplete = true;
            m_Trace.records.back().cut_off = true;
        }
        if (m_In_Run) {
            m_Trace.runs.push_back(m_Run);
        }
        m_In_Run = false;
    }

    Trace& m_Trace;
    std::string_view m_Content;
    std::uint32_t m_File;
    std::uint32_t m_Line;
    bool m_Found_Anything = false;
    bool m_In_Heading = false;

    bool m_In_Run = false;
    Run m_Run;
    std::string_view m_Object; ///< address of the run's cache object

    bool m_In_Record = false;
    Record m_Record;
    std::size_t m_Text_Begin = 0;
    std::size_t m_Text_End = 0;
    std::size_t m_Quotes_Counted_To = 0; ///< so that a long text is looked through once
    bool m_Quotes_Even = true;
};

} // namespace

bool Split_Into_Records(Trace& trace, std::uint32_t file, std::uint32_t first_line) {
    return Record_Splitter(trace, file, first_line).Split();
}

} // namespace QEL::FrontEnd::Trace_Reading
