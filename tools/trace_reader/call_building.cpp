#include "tools/trace_reader/records.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

struct Public_Operation {
    std::string_view method;
    Operation operation;
};
constexpr Public_Operation public_operations[] = {
    {"Get_Cached_File_and_Status", Operation::Get},
    {"Set_Cache_Directory", Operation::Set_Cache_Directory},
    {"Clear", Operation::Clear},
    {"Purge_Cache_Folder", Operation::Purge},
    {"Instance", Operation::Start},
};

/// The methods that may end without a record, and what they call. Another entry shows that they have.
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
    const auto* const silent = std::find_if(std::begin(silent_methods), std::end(silent_methods),
                                            [&](const Silent_Method& candidate) { return candidate.name == method; });
    return silent != std::end(silent_methods) &&
           std::find(silent->calls.begin(), silent->calls.end(), called) == silent->calls.end();
}

/// Follows one thread of one run.
class Thread_Reader {
public:
    void Take(Trace& trace, Record& record) {
        const auto* const found =
            std::find_if(std::begin(public_operations), std::end(public_operations),
                         [&](const Public_Operation& candidate) { return candidate.method == record.method; });
        const bool is_public = found != std::end(public_operations);
        if (m_Is_Construction && record.method != "CFileCache" && record.method != "Initialize_Mime") {
            m_Open.reset(); // which has no exit
            m_Is_Construction = false;
        }
        if (record.kind == Record_Kind::Call && is_public) {
            Open(trace, record, found->operation);
        } else if (record.kind == Record_Kind::Call && !m_Open && record.method == "CFileCache") {
            Open(trace, record, Operation::Start);
            m_Is_Construction = true;
        } else if (record.kind == Record_Kind::Return && !m_Open && is_public) {
            // The trace begins within this call.
            Open(trace, record, found->operation);
            static_cast<Thread_Records&>(trace.calls.back()) = std::exchange(m_Outside, {});
            trace.calls.back().run = record.run;
            trace.calls.back().thread = record.thread;
        }
        Nest(record);
        Thread_Records& owner = m_Open ? trace.calls[*m_Open] : m_Outside;
        owner.records.push_back(&record);
        owner.worst = std::max(owner.worst, record.severity);
        if (m_Open && record.time != No_Time) {
            Call& call = trace.calls[*m_Open];
            call.started = call.started == No_Time ? record.time : call.started;
            call.ended = record.time;
        }
        if (record.kind == Record_Kind::Return && is_public && !record.cut_off) {
            m_Open.reset();
        }
    }

    /// The run has ended.
    void End(Trace& trace) {
        if (m_Open) {
            trace.calls[*m_Open].at_end = true;
        }
        if (!m_Outside.records.empty()) {
            m_Outside.run = m_Outside.records.front()->run;
            m_Outside.thread = m_Outside.records.front()->thread;
            trace.outside.push_back(std::move(m_Outside));
        }
    }

private:
    void Open(Trace& trace, const Record& record, Operation operation) {
        m_Open = trace.calls.size();
        m_Stack.clear();
        Call& call = trace.calls.emplace_back();
        call.run = record.run;
        call.thread = record.thread;
        call.operation = operation;
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

    std::optional<std::size_t> m_Open; ///< index of the call that is under way
    bool m_Is_Construction = false;    ///< which it is, outside of any operation
    std::vector<std::string_view> m_Stack;
    Thread_Records m_Outside;
};

} // namespace

void Build_Calls(Trace& trace) {
    std::map<std::pair<std::uint32_t, std::int32_t>, Thread_Reader> threads; // by run and thread
    for (Record& record : trace.records) {
        if (record.kind != Record_Kind::Writer) { // which is of the process
            bool& has_entries = trace.runs[record.run].has_entries;
            has_entries = has_entries || record.kind != Record_Kind::Message;
            threads[{record.run, record.thread}].Take(trace, record);
        }
    }
    for (auto& [thread, reader] : threads) {
        reader.End(trace);
    }
}

} // namespace QEL::FrontEnd::Trace_Reading
