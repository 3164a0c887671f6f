#include "tools/trace_reader/calls.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>

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
    void Take(Trace& trace, std::uint32_t index) {
        Record& record = trace.records[index];
        const auto* const found =
            std::find_if(std::begin(public_operations), std::end(public_operations),
                         [&](const Public_Operation& candidate) { return candidate.method == record.method; });
        const bool is_public = found != std::end(public_operations);
        if (record.kind == Record_Kind::Call && is_public) {
            Open(trace, record, found->operation);
        } else if (record.kind == Record_Kind::Call && m_Open == No_Call && record.method == "CFileCache") {
            Open(trace, record, Operation::Start);
        }
        record.call = m_Open;
        Nest(record);
        if (m_Open == No_Call) {
            m_Outside.push_back(index);
        } else if (record.kind == Record_Kind::Return && is_public && !record.cut_off) {
            m_Open = No_Call;
        }
    }

    /// The run has ended.
    void End(Trace& trace) const {
        if (m_Open != No_Call) {
            trace.calls[m_Open].at_end = true;
        }
        trace.outside.insert(trace.outside.end(), m_Outside.begin(), m_Outside.end());
    }

private:
    void Open(Trace& trace, const Record& record, Operation operation) {
        m_Open = static_cast<std::uint32_t>(trace.calls.size());
        m_Stack.clear();
        Call call;
        call.run = record.run;
        call.thread = record.thread;
        call.operation = operation;
        trace.calls.push_back(call);
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
    std::vector<std::string_view> m_Stack;
    std::vector<std::uint32_t> m_Outside;
};

} // namespace

void Build_Calls(Trace& trace) {
    std::uint32_t index = 0;
    for (Run& run : trace.runs) {
        std::map<std::int32_t, Thread_Reader> threads;
        for (; index < run.records_end; ++index) {
            const Record& record = trace.records[index];
            if (record.kind != Record_Kind::Writer) { // which is of the process
                run.has_entries = run.has_entries || record.kind != Record_Kind::Message;
                threads[record.thread].Take(trace, index);
            }
        }
        for (const auto& [thread, reader] : threads) {
            reader.End(trace);
        }
    }
}

} // namespace QEL::FrontEnd::Trace_Reading
