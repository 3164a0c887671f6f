#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "tools/qelfilecache/Growing_File.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "tools/trace_reader/trace_reader.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

using namespace Trace_Reading;

struct Trace_Options {
    std::vector<std::string> files;
    std::optional<std::string> html; ///< file to write a page to
    std::optional<std::string> url;
    std::optional<std::string> since;
    bool failed = false;
    bool summary = false;
    bool follow = false;
    bool json = false;
};

constexpr const char* standard_input = "-";

/// All bytes of a file. @throws std::system_error
std::string Read_All(const std::string& name) {
    std::ostringstream content;
    if (name == standard_input) {
        content << std::cin.rdbuf();
        return std::move(content).str();
    }
    const auto path = Host::To_Path(name);
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw std::system_error(std::make_error_code(std::errc::is_a_directory));
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::system_error(errno, std::generic_category());
    }
    content << file.rdbuf();
    if (content.bad()) {
        throw std::system_error(errno, std::generic_category());
    }
    return std::move(content).str();
}

/// True when one of the names before this one means the same file: it would be counted twice.
bool Is_Repeated(const std::vector<std::string>& names, std::size_t position) {
    return std::any_of(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(position),
                       [&name = names[position]](const std::string& earlier) {
                           std::error_code error;
                           return earlier == name ||
                                  std::filesystem::equivalent(Host::To_Path(earlier), Host::To_Path(name), error);
                       });
}

/// The records in whole lines, as they are read.
std::string As_Read(const std::string& lines, bool in_utf8) {
    const std::string shown = Util::Without_Passwords(lines);
    return in_utf8 ? Host::Lines_To_Utf8(shown) : shown;
}

/// Reads a file into the trace; says what is wrong with it when it cannot be used.
bool Add_File(Trace_Reader& reader, const std::string& name, bool in_utf8) {
    std::string complaint;
    try {
        const std::string content = As_Read(Read_All(name), in_utf8);
        const std::string shown = name == standard_input ? "standard input" : name;
        complaint = reader.Add(in_utf8 ? Host::Lines_To_Utf8(shown) : shown, content);
    } catch (const std::system_error& error) {
        complaint = "cannot be read: " + error.code().message() +
                    "\n  Next: check the name and the permissions of the trace file.";
    }
    if (complaint.empty()) {
        return true;
    }
    Write_Message(Quoted(name) + ": " + complaint);
    return false;
}

/// @throws Usage_Error when the page cannot be written.
void Write_Page(const Trace& trace, const Trace_Options& options) {
    if (*options.html == "-") {
        throw Usage_Error("the page is not written to standard output; name a file after --html");
    }
    const auto path = Host::To_Path(*options.html);
    for (const std::string& file : options.files) {
        std::error_code error;
        if (std::filesystem::equivalent(path, Host::To_Path(file), error)) {
            throw Usage_Error("the page would overwrite the trace file " + Quoted(file) +
                              "; name another file after --html");
        }
    }
    errno = 0;
    std::ofstream page(path, std::ios::binary);
    if (page) {
        Write_Html_Page(trace, page);
        page.close();
    }
    if (!page) {
        throw Usage_Error("cannot write the page " + Quoted(*options.html) + ": " +
                          std::generic_category().message(errno) +
                          "\n  Next: check that its directory exists and can be written, and that the disk has room.");
    }
}

Call_Filter Filter_Of(const Trace_Options& options, const Trace& trace) {
    Call_Filter filter{options.failed, options.url.value_or(""), No_Time};
    if (options.since) {
        const auto time = Time_In(*options.since, trace);
        if (!time) {
            throw Usage_Error("--since: needs a time such as '2026-11-21 10:20' or '10:20', not " +
                              Quoted(*options.since));
        }
        filter.since = *time;
        if (!trace.calls.empty() &&
            std::ranges::all_of(trace.calls, [](const Call& call) { return call.started == No_Time; })) {
            Write_Message("note: the trace has no times, so --since leaves nothing; a trace of level 5 has times");
        }
    }
    if ((filter.Is_Set() || options.summary) && Has_Messages_Without_Calls(trace)) {
        Write_Message("note: a trace of level 1 to 3 has no requests to select or count; without the option, 'trace' "
                      "shows its messages");
    }
    return filter;
}

void Write_Json_Line(const std::string& json) {
    Write_Result(Util::Printable_Json(json));
}

/// The parts of the trace that are wanted.
void Write_Followed(Trace trace, const Call_Filter& filter, const Trace_Options& options) {
    Keep(trace, filter);
    if (options.json) {
        Write_Followed_Json(trace, Write_Json_Line);
    } else {
        Write_Followed_Text(trace, {Terminal::Width(), Terminal::Colours(stdout), options.files.size() > 1},
                            Write_Result);
    }
}

void Read_What_Was_Added(std::vector<Growing_File>& files, Trace_Follower& follower, const Trace_Options& options) {
    for (Growing_File& file : files) {
        bool begins_again = false;
        const std::string lines = As_Read(file.Read(begins_again), options.json);
        const std::string name = options.json ? Host::Lines_To_Utf8(file.Name()) : file.Name();
        if (begins_again) {
            follower.Begin_Again(name);
        }
        if (const std::string complaint = follower.Add(name, lines); !complaint.empty()) {
            Write_Message(Quoted(file.Name()) + ": " + complaint);
        }
    }
}

/// Shows the calls of the files as they end, until the user or the reader has had enough.
Exit_Status Follow(const Trace_Options& options) {
    if (options.html || options.summary) {
        throw Usage_Error("--follow shows requests one by one; leave out " +
                          std::string(options.html ? "--html" : "--summary"));
    }
    std::vector<Growing_File> files;
    for (std::size_t position = 0; position < options.files.size(); ++position) {
        std::error_code error;
        const auto status = std::filesystem::status(Host::To_Path(options.files[position]), error);
        if (options.files[position] == standard_input ||
            (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))) {
            throw Usage_Error("--follow needs the names of trace files, not " + Quoted(options.files[position]));
        }
        if (!Is_Repeated(options.files, position)) {
            files.emplace_back(options.files[position]);
        }
    }
    Host::Catch_End_Of_Waiting();
    Trace_Follower follower;
    Read_What_Was_Added(files, follower, options);
    Trace before = follower.Take();
    const Call_Filter filter = Filter_Of(options, before);
    try {
        if (options.since) {
            Write_Followed(std::move(before), filter, options);
        }
        while (Host::Wait_A_Moment()) {
            Read_What_Was_Added(files, follower, options);
            Write_Followed(follower.Take(), filter, options);
        }
    } catch (const Reader_Gone&) { // as by Ctrl-C
    }
    return Exit_Served;
}

Exit_Status Show_Trace(const Settings&, const Trace_Options& options) {
    if (options.follow) {
        return Follow(options);
    }
    if (options.summary && (options.html || options.json)) {
        throw Usage_Error("--summary prints counts alone; leave out " +
                          std::string(options.html ? "--html" : "--json"));
    }
    if (options.html && options.json) {
        throw Usage_Error("--html writes a page and --json prints an object; leave out one of them");
    }
    Trace_Reader reader;
    bool all_usable = true;
    bool any_usable = false;
    for (std::size_t position = 0; position < options.files.size(); ++position) {
        if (Is_Repeated(options.files, position)) {
            continue;
        }
        const bool usable = Add_File(reader, options.files[position], options.json || options.html);
        all_usable = all_usable && usable;
        any_usable = any_usable || usable;
    }
    if (any_usable) {
        Trace trace = reader.Finish();
        Keep(trace, Filter_Of(options, trace));
        if (options.summary) {
            Write_Summary(trace, Write_Result);
            return all_usable ? Exit_Served : Exit_Wrong_Usage;
        }
        if (options.html) {
            Write_Page(trace, options);
        }
        if (options.json) {
            Write_Json_Report(trace, Write_Json_Line);
        } else if (options.html) {
            Write_Result(Util::Printable(*options.html));
        } else {
            Write_Text_Report(trace, {Terminal::Width(), Terminal::Colours(stdout)}, Write_Result);
        }
    }
    return all_usable ? Exit_Served : Exit_Wrong_Usage;
}

void Declare_Options(Command_Options& parser, Trace_Options& options) {
    parser.Text("--html", "OUT", options.html, "Write a page for browsers to this file, and print its name instead");
    parser.Flag("--failed", options.failed, "Only what failed, met errors, or was served the last good copy");
    parser.Text("--url", "TEXT", options.url, "Only requests that contain this text");
    parser.Text("--since", "TIME", options.since,
                "Only what began at this time or later: '2026-11-21 10:20:16' or its first part, with the\n"
                "day; '10:20' means the last day in the trace. Needs time stamps (level 5)");
    parser.Flag("--summary", options.summary, "Print the number of requests by outcome, cause and server");
    parser.Flag("--follow", options.follow,
                "Print each request when it ends, until Ctrl-C; with --json one object a line.\n"
                "The files may be replaced, or not exist yet");
    parser.Flag("--json", options.json, "Print one object for programs instead");
    parser.Operands("FILE", options.files,
                    "Trace file, by default named qelfilecache_<process id>.trc, or - for standard input");
}

constexpr const char* trace_help =
    "Shows each request: how it was decided, what failed, which copy was served and, where the trace has time\n"
    "stamps (level 5), how long it took. Errors come first. Files of several processes may be given together.\n"
    "Requests are shown from traces of level 4 and 5; from lower levels, the messages by thread.\n\n"
    "--html writes one self-contained page: a timeline, each request with its records, a filter. A link to it may\n"
    "end with #search=WORDS.\n\n"
    "Exit status: 0 all files were read, 2 some cannot be used.\n\n"
    "Examples:\n"
    "  qelfilecache trace qelfilecache_4711.trc\n"
    "  qelfilecache trace --html trace.html qelfilecache_*.trc\n"
    "  qelfilecache trace --summary --failed qelfilecache_*.trc\n"
    "  qelfilecache trace --follow --failed qelfilecache_4711.trc\n"
    "  qelfilecache trace --json qelfilecache_4711.trc";

} // namespace

Command Trace_Command() {
    return Make_Command("trace", "Show each request in trace files, errors first", trace_help, &Declare_Options,
                        &Show_Trace);
}

} // namespace QEL::FrontEnd::Tool
