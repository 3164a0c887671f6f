#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

/// Trace files as a reader sees them: records, and the calls of the cache that they tell of.
///
/// Texts are views of the files' contents, which the Trace owns; they are as hostile as what was
/// requested, and not necessarily UTF-8.
namespace QEL::FrontEnd::Tool::Trace_Reading {

/// Seconds since 1970 on the clock of the writing machine's wall, which knows no time zone.
using Local_Clock_Time = std::int64_t;
inline constexpr Local_Clock_Time No_Time = std::numeric_limits<Local_Clock_Time>::min();

inline constexpr std::uint32_t No_Call = std::numeric_limits<std::uint32_t>::max();

/// In the order of weight.
enum class Severity : std::uint8_t { Data, Note, Warning, Error };

enum class Record_Kind : std::uint8_t {
    Call,    ///< entry of a method; the text is its arguments
    Return,  ///< exit of a method; the text is its result
    Message, ///< anything else that a method told
    Writer   ///< a complaint of the trace writer itself; it has no method
};

/// One message of the cache.
struct Record {
    std::string_view method; ///< without its class, such as "Download_Inet_URL"
    std::string_view text;   ///< without prefix and line end; may have several lines
    Local_Clock_Time time = No_Time;
    std::uint32_t line = 0; ///< in its file, from 1
    std::uint32_t run = 0;
    std::uint32_t call = No_Call;
    std::int32_t thread = 0;
    std::uint16_t depth = 0; ///< of the method within its call
    Record_Kind kind = Record_Kind::Message;
    Severity severity = Severity::Data;
    bool bug = false;        ///< told of a state that was held impossible
    bool incomplete = false; ///< the file ends in it, or its pieces stand among another thread's
    bool cut_off = false;    ///< the file ends in it
};

/// What one writer wrote: a file, or a part of it that begins with a heading.
struct Run {
    std::uint32_t file = 0;
    std::uint32_t line = 0;        ///< where it begins
    std::uint32_t records_end = 0; ///< index behind its last record
    std::string_view process;      ///< id of the process, from the name of the file; may be empty
    std::string_view program;      ///< empty without a heading
    std::string_view level;        ///< "Error and Warning"; empty without a heading
    bool has_times = false;
};

enum class Operation : std::uint8_t {
    Get,
    Set_Cache_Directory,
    Clear,
    Purge,
    Start,   ///< the cache object was asked for or made
    Fragment ///< records whose beginning is not in the file
};

enum class Outcome : std::uint8_t {
    Local,         ///< a local path, answered as it stands
    Fresh,         ///< the copy, without remote contact
    Unchanged,     ///< the copy, after the remote side said that nothing has changed
    Downloaded,    ///< a first copy from a web server
    Copied,        ///< a first copy from a share
    Replaced,      ///< a new copy in the place of an older one
    Old_Copy,      ///< the older copy, as no newer one could be had
    Left_In_Place, ///< nothing, as the host wants to open the file where it is
    Done,          ///< an operation other than a request succeeded
    Failed,        ///< nothing, or the operation failed
    Cut_Off,       ///< the trace ends before the call does
    Not_Told       ///< the trace does not tell
};
inline constexpr int Outcome_Count = 12;

/// One public operation of the cache. Where a trace holds no entries and exits (levels 1 to 3), what
/// its records let conclude of one.
struct Call {
    std::string_view subject; ///< what was asked for, or the directory that was set; may be empty
    std::string_view path;    ///< the answer of a request; empty when there was none
    std::string explanation;  ///< one sentence or two: how it was decided, or what failed
    Local_Clock_Time started = No_Time;
    Local_Clock_Time ended = No_Time;
    std::uint32_t run = 0;
    std::uint32_t first_record = 0; ///< index into Trace::order
    std::uint32_t record_count = 0;
    std::uint32_t first_line = 0;
    std::uint32_t last_line = 0;
    std::int32_t thread = 0;
    Operation operation = Operation::Get;
    Outcome outcome = Outcome::Not_Told;
    Severity worst = Severity::Data;
    bool concluded = false; ///< from errors, warnings and notes alone
    bool at_end = false;    ///< still under way at the end of its run
};

/// A file that was read.
struct File {
    std::string name;    ///< as given
    std::string content; ///< with LF as line end
};

struct Trace {
    std::deque<File> files; ///< never moved: everything views their contents
    std::vector<Run> runs;
    std::vector<Record> records;
    std::vector<Call> calls;          ///< in the order of time where all runs have times, else as read
    std::vector<std::uint32_t> order; ///< indices of records, those of one call side by side

    const Record& Record_Of(const Call& call, std::uint32_t index) const {
        return records[order[call.first_record + index]];
    }
};

} // namespace QEL::FrontEnd::Tool::Trace_Reading
