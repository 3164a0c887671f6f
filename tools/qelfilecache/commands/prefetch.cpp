#include "tools/qelfilecache/Command.h"
#include "tools/qelfilecache/Command_Options.h"

#include "filecache/IFileCache.h"
#include "tools/qelfilecache/host.h"
#include "tools/qelfilecache/output.h"
#include "tools/qelfilecache/requests/request_list.h"
#include "tools/qelfilecache/requests/serve.h"
#include "util/Non_Copyable.h"
#include "util/Visible_Text.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

namespace QEL::FrontEnd::Tool {

namespace {

struct Prefetch_Options {
    std::string file;
    bool force = false;
};

Request_List Read_List_File(const std::string& file) {
    const std::string subject = "the list " + Quoted(file);
    std::error_code ignored;
    if (std::filesystem::is_directory(Host::To_Path(file), ignored)) {
        throw Usage_Error(subject + " is a directory; name a file with one request a line, or - for standard input");
    }
    std::ifstream stream(Host::To_Path(file), std::ios::binary);
    if (!stream) {
        throw Usage_Error(subject + " cannot be read: " + std::generic_category().message(errno) +
                          "; check its name and permissions, or name - for standard input");
    }
    Request_List list = Read_Request_List(stream);
    if (stream.bad()) {
        throw Usage_Error(subject + " cannot be read to its end; check the disk that it lies on");
    }
    return list;
}

/// One line on standard error that shows how far a list of requests is; nothing at all when that is
/// no terminal. Gone with the object, so that messages begin on a clean line.
class Progress_Bar : private Util::Non_Copyable {
public:
    explicit Progress_Bar(std::size_t total) : m_Total(total), m_Columns(Host::Terminal_Width(stderr).value_or(0)) {}
    ~Progress_Bar() {
        if (m_Columns > 0) {
            Write("\r" + std::string(m_Columns - 1, ' ') + "\r");
        }
    }

    /// `done` requests are served, and `current` is under way.
    void Show(std::size_t done, const std::string& current) {
        if (m_Columns == 0) {
            return;
        }
        const std::size_t filled = m_Total == 0 ? bar_width : done * bar_width / m_Total;
        const std::string line = "[" + std::string(filled, '#') + std::string(bar_width - filled, '.') + "] " +
                                 std::to_string(done) + "/" + std::to_string(m_Total) + " ";
        // The last column stays free: some terminals go on to the next line behind it.
        const std::size_t usable = m_Columns - 1;
        const std::size_t rest = usable > line.size() ? usable - line.size() : 0;
        Write("\r" + Util::Fit(line + Util::Shorten(Util::Printable(current), rest), usable));
    }

private:
    static constexpr std::size_t bar_width = 24;

    static void Write(const std::string& text) {
        static_cast<void>(Host::Write(stderr, text));
        static_cast<void>(std::fflush(stderr));
    }

    const std::size_t m_Total;
    std::size_t m_Columns; ///< 0: no terminal
};

std::vector<Request_Outcome> Serve_All(FileCache::IFileCache& cache, const std::vector<std::string>& requests) {
    std::vector<Request_Outcome> outcomes;
    Progress_Bar progress(requests.size());
    for (const std::string& request : requests) {
        progress.Show(outcomes.size(), request);
        outcomes.push_back(Serve(cache, request, ordinary_request));
    }
    return outcomes;
}

/// "4 requests (1 repeated): 3 served, 1 of them from the last good copy, 1 not served".
std::string Summary(const Request_List& list, std::size_t served, std::size_t older) {
    std::string summary = Util::Counted(list.requests.size(), "request");
    if (list.repeated > 0) {
        summary += " (" + std::to_string(list.repeated) + " repeated)";
    }
    summary += ": " + std::to_string(served) + " served";
    if (older > 0) {
        summary += ", " + std::to_string(older) + " of them from the last good copy";
    }
    return summary + ", " + std::to_string(list.requests.size() - served) + " not served";
}

Exit_Status Prefetch(const Settings& settings, const Prefetch_Options& options) {
    const Request_List list = options.file == "-" ? Read_Request_List(std::cin) : Read_List_File(options.file);
    if (!list.requests.empty() &&
        (list.requests.front().starts_with("\xFF\xFE") || list.requests.front().starts_with("\xFE\xFF"))) {
        throw Usage_Error("the list " + Quoted(options.file) + " is in UTF-16; save it in UTF-8");
    }
    const Open_Cache opened = Open_For_Requests(settings, options.force);
    const auto request_thread = Host::Prepare_Request_Thread();
    const auto outcomes = Serve_All(*opened.cache, list.requests);

    std::size_t served = 0;
    std::size_t older = 0;
    for (const Request_Outcome& outcome : outcomes) {
        Report(outcome);
        served += outcome.path.empty() ? 0 : 1;
        older += !outcome.path.empty() && outcome.download_error ? 1 : 0;
    }
    Write_Message(Summary(list, served, older));
    return served == outcomes.size() ? Exit_Served : Exit_Not_Served;
}

void Declare_Options(Command_Options& parser, Prefetch_Options& options) {
    parser.Force(options.force);
    parser.Operand("FILE", options.file, "List of requests, or - for standard input");
}

constexpr const char* prefetch_help =
    "One request a line; blank lines and lines that begin with # are ignored. A repeated request is served\n"
    "once, and a copy that is still fresh stays as it is.\n"
    "Prints nothing on standard output; standard error says what was not served and why, and has a summary.\n\n"
    "Exit status: 0 all were served, 1 some were not, 2 wrong usage or a list that cannot be read.\n\n"
    "Examples:\n"
    "  qelfilecache prefetch requests.txt\n"
    "  printf '%s\\n' https://server.example/a.xml | qelfilecache prefetch -";

} // namespace

Command Prefetch_Command() {
    return Make_Command("prefetch", "Serve every request of a list, so that the copies are there when they are needed",
                        prefetch_help, &Declare_Options, &Prefetch);
}

} // namespace QEL::FrontEnd::Tool
