#include "tools/trace_reader/Call_Builder.h"

#include "tools/trace_reader/message_catalogue.h"
#include "tools/trace_reader/record_text.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

std::optional<Operation> Public_Operation(std::string_view method) {
    if (method == "Get_Cached_File_and_Status") {
        return Operation::Get;
    }
    if (method == "Set_Cache_Directory") {
        return Operation::Set_Cache_Directory;
    }
    if (method == "Clear") {
        return Operation::Clear;
    }
    if (method == "Purge_Cache_Folder") {
        return Operation::Purge;
    }
    return method == "Instance" ? std::optional(Operation::Start) : std::nullopt;
}

/// The methods that may end without a record, and what they call. Another entry tells that they have.
struct Silent_Method {
    std::string_view name;
    std::array<std::string_view, 2> calls;
};
constexpr Silent_Method silent_methods[] = {
    {"CFileCache", {"Initialize_Mime", ""}},
    {"Initialize_Mime", {"", ""}},
    {"Cleanup_Obsolete_Cached_Files", {"Delete_Cached_Files", ""}},
    {"Delete_Cached_Files", {"", ""}},
    {"Persist_Downloaded_File_Metadata", {"Remove_From_Cache", "Serialize"}},
    {"Deserialize", {"Get_Cache_Metadata", ""}},
    {"Download_Inet_URL_By_WinInet", {"HTTP_Status_OK", "Generate_Cached_File_Name_from_Contents"}},
};

bool Has_Silently_Ended(std::string_view method, std::string_view called) {
    const auto silent = std::find_if(std::begin(silent_methods), std::end(silent_methods),
                                     [&](const Silent_Method& candidate) { return candidate.name == method; });
    return silent != std::end(silent_methods) &&
           std::find(silent->calls.begin(), silent->calls.end(), called) == silent->calls.end();
}

/// How far a request has come when it writes a message; 0 for those that do not tell.
int Stage_Of(const Record& record) {
    const std::string_view method = record.method;
    if (method == "Normalize_if_File_URL") {
        return 1;
    }
    if (method == "Is_Inet_URL_Expired" || method == "Is_File_Share_Expired") {
        return 3;
    }
    if (method == "Download_Inet_URL" || method == "Download_File_Share") {
        return 4;
    }
    if (method == "Get_Cached_Remote_File") {
        return 5;
    }
    // At its end, a request deletes the replaced copy; its other messages come before any remote contact.
    return method != "Get_Cached_File_and_Status" ? 0 : record.text.starts_with("Error deleting") ? 6 : 2;
}

Operation Operation_Of(std::string_view method) {
    if (method == "Deserialize") {
        return Operation::Set_Cache_Directory;
    }
    return Public_Operation(method).value_or(Operation::Get);
}

/// The URL or path that a message tells of; empty when it tells none.
std::string_view Subject_In(std::string_view text) {
    if (const auto file = Between(text, "\nFile: ", "\nDescription: "); !file.empty()) {
        return file;
    }
    for (const std::string_view label :
         {"URL: '", "URL '", "url = '", "url='", "not exist '", "at this time: '", "stat-ed: '",
          "Failed to open file '", "Copied file '", "in the cache: '", "is expired '", "unnamed: '"}) {
        if (const auto start = text.find(label); start != std::string_view::npos) {
            const auto rest = text.substr(start + label.size());
            return rest.substr(0, rest.find('\''));
        }
    }
    constexpr std::string_view not_listed = "URL not found in while-list. URL: ";
    return text.starts_with(not_listed) ? text.substr(not_listed.size()) : std::string_view();
}

/// Messages that one and the same request writes one behind the other, whatever else they name.
constexpr std::pair<std::string_view, std::string_view> certain_sequences[] = {
    {"Sending of GET HTTP request failed.", "Downloading from URL '"},
    {"GET HTTP request failed. HR=", "Downloading from URL '"},
    {"Sending of HTTP HEAD request failed.", "HEAD request from URL '"},
    {"HEAD HTTP request failed. HR=", "HEAD request from URL '"},
    {"Create instance failed for HTTP request object.", "Downloading from URL '"},
    {"Create instance failed for HTTP request object.", "HEAD request from URL '"},
    {"Unsupported file URL format", "Previously cached local file does not exist ''"},
};

bool Surely_Follows(std::string_view text, std::string_view previous) {
    return std::any_of(std::begin(certain_sequences), std::end(certain_sequences), [&](const auto& sequence) {
        return previous.starts_with(sequence.first) && text.starts_with(sequence.second);
    });
}

/// The second client repeats the request whose error stands before its messages.
bool Is_Second_Attempt(const Record& record) {
    return record.method == "Process_Inet_URL_By_WinInet" || record.method == "Download_Inet_URL_By_WinInet";
}

/// Follows one thread of one run.
class Thread_Reader {
public:
    void Take(Trace& trace, std::uint32_t index) {
        Record& record = trace.records[index];
        const auto operation = Public_Operation(record.method);
        if (record.kind == Record_Kind::Call && operation) {
            Open(trace, record, *operation, false);
        } else if (m_Open == No_Call || m_Concluded) {
            Take_Loose(trace, record, operation);
        }
        record.call = m_Open;
        Nest(record);
        if (record.kind == Record_Kind::Return && operation && !m_Concluded && !record.cut_off) {
            m_Open = No_Call;
        }
    }

    /// The run has ended.
    void End(Trace& trace) const {
        if (m_Open != No_Call && !m_Concluded) {
            trace.calls[m_Open].at_end = true;
        }
    }

private:
    void Open(Trace& trace, const Record& record, Operation operation, bool concluded) {
        m_Open = static_cast<std::uint32_t>(trace.calls.size());
        m_Concluded = concluded;
        m_Stack.clear();
        m_Stage = 0;
        m_Subject = {};
        m_Last_Text = {};
        m_First_Of_Stage = {};
        Call call;
        call.run = record.run;
        call.thread = record.thread;
        call.operation = operation;
        call.concluded = concluded;
        trace.calls.push_back(call);
    }

    /// A record outside of any call: its file has no entries, or begins in the middle of a call.
    void Take_Loose(Trace& trace, const Record& record, std::optional<Operation> operation) {
        if (record.kind != Record_Kind::Message || record.severity == Severity::Data) {
            // At a level with entries: the rest of a call whose beginning is missing.
            if (m_Open == No_Call || m_Concluded) {
                const bool is_constructor = record.method == "CFileCache";
                Open(trace, record, operation.value_or(is_constructor ? Operation::Start : Operation::Fragment), false);
            }
            return;
        }
        const int stage = Stage_Of(record);
        const auto subject = Subject_In(record.text);
        const auto* const message = Recognise(record.text).message;
        const Operation concluded = Operation_Of(record.method);
        const bool continues = m_Open != No_Call && trace.calls[m_Open].operation == concluded &&
                               Belongs_To_Open(record, stage, subject, message);
        if (!continues) {
            Open(trace, record, concluded, true);
        }
        m_Last_Text = record.text;
        if (stage > m_Stage) {
            m_Stage = stage;
            m_First_Of_Stage = message;
        }
        if (m_Subject.empty()) {
            m_Subject = subject;
            trace.calls[m_Open].subject = subject;
        }
    }

    /// A request that succeeds leaves nothing at these levels, so a record that names no address may be of
    /// any request since the last one that did.
    bool Belongs_To_Open(const Record& record, int stage, std::string_view subject,
                         const Known_Message* message) const {
        if (Surely_Follows(record.text, m_Last_Text)) {
            return true;
        }
        if (Is_Second_Attempt(record)) {
            return subject.empty() || m_Subject.empty() || subject == m_Subject;
        }
        if (subject.empty() && !m_Subject.empty()) {
            // A check that brought no answer brought no time either.
            return m_Stage == 3 && record.text.starts_with("Last-Modified header is empty.");
        }
        const bool goes_on = stage == 0 || stage > m_Stage || (stage == m_Stage && message != m_First_Of_Stage);
        return goes_on && subject == m_Subject;
    }

    void Nest(Record& record) {
        const auto of_method = std::find(m_Stack.rbegin(), m_Stack.rend(), record.method);
        if (record.kind == Record_Kind::Call) {
            while (!m_Stack.empty() && Has_Silently_Ended(m_Stack.back(), record.method)) {
                m_Stack.pop_back();
            }
            record.depth = static_cast<std::uint16_t>(m_Stack.size());
            if (m_Stack.size() < deepest) {
                m_Stack.push_back(record.method);
            }
        } else if (of_method != m_Stack.rend()) {
            m_Stack.erase(of_method.base(), m_Stack.end());
            record.depth = static_cast<std::uint16_t>(m_Stack.size() - 1);
            if (record.kind == Record_Kind::Return) {
                m_Stack.pop_back();
            }
        } else {
            record.depth = static_cast<std::uint16_t>(m_Stack.size());
        }
    }

    /// Deeper than the cache ever nests; a forged trace must not cost more than its size.
    static constexpr std::size_t deepest = 16;

    std::uint32_t m_Open = No_Call;
    bool m_Concluded = false;
    std::vector<std::string_view> m_Stack;
    int m_Stage = 0;
    const Known_Message* m_First_Of_Stage = nullptr;
    std::string_view m_Subject;
    std::string_view m_Last_Text;
};

} // namespace

void Build_Calls(Trace& trace) {
    std::uint32_t index = 0;
    for (const Run& run : trace.runs) {
        std::map<std::int32_t, Thread_Reader> threads;
        for (; index < run.records_end; ++index) {
            const Record& record = trace.records[index];
            if (record.kind == Record_Kind::Writer) {
                continue; // of the process, not of a call
            }
            threads[record.thread].Take(trace, index);
        }
        for (const auto& [thread, reader] : threads) {
            reader.End(trace);
        }
    }
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
