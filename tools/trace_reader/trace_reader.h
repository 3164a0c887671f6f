#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <iosfwd>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Reads trace files of the cache into records and calls, and reports them.
///
/// Texts are views of the files' contents, which the Trace owns; they are as hostile as what was
/// requested, and not necessarily UTF-8.
namespace QEL::FrontEnd::Trace_Reading {

/// Seconds since 1970 on the local clock of the writing machine, whose time zone is unknown.
using Local_Time = std::int64_t;
inline constexpr Local_Time No_Time = std::numeric_limits<Local_Time>::min();

/// In the order of weight.
enum class Severity : std::uint8_t { Data, Note, Warning, Error };

enum class Record_Kind : std::uint8_t {
    Call,    ///< entry of a method; the text is its arguments
    Return,  ///< exit of a method; the text is its result
    Message, ///< anything else that a method wrote
    Writer   ///< a complaint of the trace writer itself; it has no method
};

/// One message of the cache.
struct Record {
    std::string_view method; ///< without its class, such as "Download_Inet_URL"
    std::string_view text;   ///< without prefix and line end; may have several lines
    Local_Time time = No_Time;
    std::uint32_t line = 0; ///< in its file, from 1
    std::uint32_t run = 0;
    std::int32_t thread = 0;
    std::uint16_t depth = 0; ///< of the method within its call
    Record_Kind kind = Record_Kind::Message;
    Severity severity = Severity::Data;
    bool bug = false;        ///< of a state that was held impossible
    bool incomplete = false; ///< the file ends in it, or its pieces stand among another thread's
    bool cut_off = false;    ///< the file ends in it
};

/// What a record means, for people, such as "the server cannot be connected to"; empty when it says so itself.
std::string Meaning_Of(const Record& record);

/// What one writer wrote: a file, or a part of it that begins with a heading.
struct Run {
    std::uint32_t file = 0;
    std::uint32_t line = 0;   ///< where it begins
    std::string_view process; ///< id of the process, from the name of the file; may be empty
    std::string_view program; ///< empty without a heading
    std::string_view level;   ///< "Error and Warning"; empty without a heading
    bool has_times = false;
    bool has_entries = false; ///< of methods: the level is 4 or 5
};

enum class Operation : std::uint8_t {
    Get,
    Set_Cache_Directory,
    Clear,
    Purge,
    Start ///< the cache object was asked for or made
};

/// The worst first.
enum class Outcome : std::uint8_t {
    Failed,        ///< nothing, or the operation failed
    Old_Copy,      ///< the last good copy, as no newer one could be had
    Cut_Off,       ///< the trace ends before the call does
    Unknown,       ///< the trace does not say
    Replaced,      ///< a new copy in the place of an older one
    Downloaded,    ///< a first copy from a web server
    Copied,        ///< a first copy from a share
    Unchanged,     ///< the copy, after the remote side said that nothing has changed
    Fresh,         ///< the copy, without remote contact
    Local,         ///< a local path, served as it stands
    Left_In_Place, ///< nothing, as the host wants to open the file where it is
    Done           ///< an operation other than a request succeeded
};
inline constexpr int Outcome_Count = 12;

/// For people, such as "old copy"; for programs, such as "old_copy"; for the page's style, such as "amber".
std::string_view Label_Of(Outcome outcome);
std::string_view Identifier_Of(Outcome outcome);
std::string_view Colour_Of(Outcome outcome);

/// The same of operations; the label of a request is empty.
std::string_view Label_Of(Operation operation);
std::string_view Identifier_Of(Operation operation);

/// What one thread of a run wrote, in order.
struct Thread_Records {
    std::uint32_t run = 0;
    std::int32_t thread = 0;
    Severity worst = Severity::Data;
    std::vector<const Record*> records;
};

/// One public operation of the cache, from its entry to its exit; it has a record at least.
struct Call : Thread_Records {
    std::string_view subject; ///< what was asked for, or the directory that was set; may be empty
    std::string_view path;    ///< what a request returned; empty when it was nothing
    std::string explanation;  ///< one sentence or two: how it was decided, or what failed
    Local_Time started = No_Time;
    Local_Time ended = No_Time;
    std::uint32_t number = 0; ///< as reports count them: from 1; 0 for one that says nothing
    Operation operation = Operation::Get;
    Outcome outcome = Outcome::Unknown;
    bool at_end = false; ///< still under way at the end of its run
};

/// A file that was read.
struct File {
    std::string name;    ///< as given
    std::string content; ///< with LF as line end
};

/// Its parts point to each other: it can be moved, but not copied.
struct Trace {
    std::deque<File> files; ///< never moved: everything views their contents
    std::vector<Run> runs;
    std::vector<Record> records;
    std::vector<Call> calls;             ///< in the order of time where all runs have times, else as read
    std::vector<Thread_Records> outside; ///< of calls, by run and thread

    Trace() = default;
    Trace(Trace&&) = default;
    Trace& operator=(Trace&&) = default;
};

/// Time and memory grow with the size of the files and not faster.
class Trace_Reader {
public:
    /// @return empty, or why the content is not a trace and what to do, in two lines.
    /// @param first_line the number of the content's first line in its file.
    std::string Add(std::string name, std::string content, std::uint32_t first_line = 1);

    /// What all files that were taken hold.
    Trace Finish();

private:
    Trace m_Trace;
};

/// Reads traces while they are written: gives each call once, when it has ended. It keeps no more of a file than the
/// calls that are under way. The end of a request for a file that is left in place leaves no record: the follower gives
/// it when the file has stood still for a while, and again if it goes on after that.
class Trace_Follower {
public:
    /// @param lines what was added to the file, whole lines; empty when it stands still.
    /// @return empty, or as Trace_Reader::Add when these are its first lines.
    std::string Add(const std::string& name, const std::string& lines);

    /// The file was replaced or cut: what is under way in it never ends, and the next lines are the first ones of
    /// another file.
    void Begin_Again(const std::string& name);

    /// What has ended since the last time, and the messages outside of calls.
    Trace Take();

private:
    struct Followed_File {
        std::string name;
        std::string text; ///< from the first call that is under way
        std::uint32_t first_line = 1;
        std::size_t dropped = 0; ///< bytes before the text
        /// Where the calls and messages in the text begin that were given already, and as what.
        std::set<std::pair<std::size_t, Outcome>> shown;
        unsigned int times_still = 0;
        bool is_over = false;
    };
    /// Leaves what stands behind the settled part of the text.
    static void Drop(Followed_File& file, const std::string& text, std::size_t settled);

    std::deque<Followed_File> m_Files;
    std::uint32_t m_Last_Number = 0;
    bool m_Has_News = false; ///< so that files that stand still cost nothing
};

/// Receives the lines of a report, without line ends.
using Line_Sink = std::function<void(const std::string& line)>;

struct Text_Layout {
    std::optional<std::size_t> width; ///< none: lines of any length
    bool colours = false;
    bool names_process = false; ///< of a followed trace: with each call
};

/// Which calls are wanted.
struct Call_Filter {
    bool failed = false;        ///< those that failed, or met errors or the last good copy
    std::string subject;        ///< those whose subject holds this
    Local_Time since = No_Time; ///< those that began then or later

    bool Is_Set() const { return failed || !subject.empty() || since != No_Time; }
};

/// Leaves the wanted calls, and what stands outside of calls only where nothing is filtered.
void Keep(Trace& trace, const Call_Filter& filter);

/// True when it has messages of level 1 to 3, which does not record where calls begin and end.
bool Has_Messages_Without_Calls(const Trace& trace);

/// The time in "2026-11-21 10:20:16" or less of it; "10:20" is of the day of the last call, else of today. None when it
/// is no such text.
std::optional<Local_Time> Time_In(std::string text, const Trace& trace);

/// Writes how many requests came to what, by cause and server, the most frequent first.
void Write_Summary(const Trace& trace, const Line_Sink& write);

/// Writes a trace for people: errors first, then the other calls in order, then the messages outside of calls.
void Write_Text_Report(const Trace& trace, const Text_Layout& layout, const Line_Sink& write);

/// The same of what Trace_Follower gives: in order, without headings and sums.
void Write_Followed_Text(const Trace& trace, const Text_Layout& layout, const Line_Sink& write);

/// The version of the JSON of all commands: names and meanings stay while it stays; members may be added.
inline constexpr int Json_Schema = 1;

/// Writes a trace for programs: one object, with the calls in order.
void Write_Json_Report(const Trace& trace, const Line_Sink& write);

/// Writes what Trace_Follower gives: an object in a line for each call and each message outside of calls.
void Write_Followed_Json(const Trace& trace, const Line_Sink& write);

/// Writes a page that shows a trace: complete in itself, readable with and without JavaScript. Of a
/// large trace, it leaves out what would keep a browser from showing it, and says so.
void Write_Html_Page(const Trace& trace, std::ostream& page);

} // namespace QEL::FrontEnd::Trace_Reading
