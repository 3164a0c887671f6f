#pragma once

#include "tests/support/Standard_Library.h"
#include "tools/trace_reader/trace_reader.h"

namespace QEL::Tests {

using namespace QEL::FrontEnd::Trace_Reading;

// The operations that most records are of.
constexpr const char* get = "Get_Cached_File_and_Status";
constexpr const char* policy = "Get_Cached_Remote_File";

/// Writes a trace as the cache does, write by write, so that several can be mixed.
class Written_Trace {
public:
    explicit Written_Trace(int thread = 7, bool with_times = false) : m_Thread(thread), m_With_Times(with_times) {}

    /// The time of what follows, such as "(21.11.26 10:20:16)".
    Written_Trace& At(std::string stamp) {
        m_Stamp = std::move(stamp);
        return *this;
    }

    Written_Trace& Heading(const std::string& level = "Error, Warning, Developer Notes and additional data ") {
        const std::string rule(80, '*');
        for (const std::string& line :
             {rule,
              std::string("****************************  QEL SE, Trace File  "
                          "******************************"),
              "** Main trace mode: " + level, std::string("** Program: \t/usr/bin/pad"), rule}) {
            Write(line + "\n");
        }
        m_Writes.back() += "\n";
        return *this;
    }

    Written_Trace& Call(const std::string& method, const std::string& arguments = {}) {
        if (arguments.empty()) {
            return Write(Prefix(method) + "CALL\n");
        }
        return Write(Prefix(method) + "CALL").Write("(").Write(arguments).Write(")\n");
    }

    Written_Trace& Return(const std::string& method, const std::string& result) {
        return Write(Step(method) + "/19: return value:").Write("(").Write(result).Write(")\n");
    }

    Written_Trace& Data(const std::string& method, const std::string& message) {
        return Write(Prefix(method) + message + "\n");
    }

    Written_Trace& Error(const std::string& method, const std::string& message, const std::string& end = "\n") {
        return Write((m_With_Times ? "" : "***ERROR***: ") + Prefix(method) + message + end);
    }

    Written_Trace& Warning(const std::string& method, const std::string& message) {
        return Write((m_With_Times ? "" : "***WARNING*: ") + Prefix(method) + message + "\n");
    }

    Written_Trace& Bug() { return Write(" ---- BUG ---- "); }

    Written_Trace& Write(const std::string& text) {
        m_Writes.push_back((m_With_Times ? m_Stamp + " " : "") + text);
        return *this;
    }

    const std::vector<std::string>& Writes() const { return m_Writes; }

    std::string Text() const {
        std::string text;
        for (const auto& write : m_Writes) {
            text += write;
        }
        return text;
    }

private:
    std::string Step(const std::string& method) const {
        return "TID: " + std::to_string(m_Thread) + ", QEL::FrontEnd::FileCache::CFileCache::" + method;
    }
    std::string Prefix(const std::string& method) const { return Step(method) + "[0x55d0c8a41eb0]/17: "; }

    int m_Thread;
    bool m_With_Times;
    std::string m_Stamp = "(21.11.26 10:20:16)";
    std::vector<std::string> m_Writes;
};

/// A trace of lines such as "> Method(arguments)" (a call), "< Method(result)" (its return), and with data, a warning
/// or an error ". Method message", "? Method message", "! Method message", in which "|" ends a line; "~" behind an
/// error keeps its line open; "B" marks a bug. Some methods have short names.
inline std::string Records_Of(const std::string& lines) {
    static const std::map<std::string, std::string> names = {
        {"get", get}, {"policy", policy}, {"GET", "Download_Inet_URL"}, {"HEAD", "Is_Inet_URL_Expired"}};
    Written_Trace trace;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const auto end = std::min(line.find_first_of("( ", 2), line.size());
        std::string method = line.size() > 2 ? line.substr(2, end - 2) : "";
        method = names.contains(method) ? names.at(method) : method;
        std::string rest = end < line.size() ? line.substr(end + 1) : "";
        std::replace(rest.begin(), rest.end(), '|', '\n');
        if (line[0] == '>' || line[0] == '<') {
            rest = rest.substr(0, rest.find_last_of(')'));
            line[0] == '>' ? trace.Call(method, rest) : trace.Return(method, rest);
        } else if (line[0] == 'B') {
            trace.Bug();
        } else {
            line[0] == '!'   ? trace.Error(method, rest.substr(0, rest.find('~')), rest.ends_with('~') ? "" : "\n")
            : line[0] == '?' ? trace.Warning(method, rest)
                             : trace.Data(method, rest);
        }
    }
    return trace.Text();
}

/// Two traces written at the same time, turn by turn.
inline std::string Mixed(const Written_Trace& one, const Written_Trace& other) {
    std::string text;
    for (std::size_t turn = 0; turn < std::max(one.Writes().size(), other.Writes().size()); ++turn) {
        for (const Written_Trace* trace : {&one, &other}) {
            text += turn < trace->Writes().size() ? trace->Writes()[turn] : "";
        }
    }
    return text;
}

inline Trace Read(const std::vector<std::string>& contents) {
    Trace_Reader reader;
    int process = 100;
    for (const auto& content : contents) {
        reader.Add("qelfilecache_0" + std::to_string(process++) + ".trc", content);
    }
    return reader.Finish();
}

/// A call in a line: "downloaded http://server/a.xml -> /cache/1.xml".
inline std::string In_A_Line(const Call& call) {
    std::string line(Identifier_Of(call.outcome));
    if (call.operation != Operation::Get) {
        line.append(" ").append(Identifier_Of(call.operation));
    }
    line.append(call.subject.empty() ? "" : " ").append(call.subject);
    return line.append(call.path.empty() ? "" : " -> ").append(call.path);
}

inline std::vector<std::string> Calls_Of(const Trace& trace) {
    std::vector<std::string> lines;
    for (const Call& call : trace.calls) {
        lines.push_back(In_A_Line(call));
    }
    return lines;
}

inline std::vector<std::string> Calls_In(const std::string& content) {
    return Calls_Of(Read({content}));
}

/// The records outside of calls, each as "thread: method: meaning".
inline std::vector<std::string> Outside_Of_Calls(const Trace& trace) {
    std::vector<std::string> lines;
    for (const Thread_Records& thread : trace.outside) {
        for (const Record* record : thread.records) {
            lines.push_back(std::to_string(thread.thread) + ": " + std::string(record->method) + ": " +
                            Meaning_Of(*record));
        }
    }
    return lines;
}

} // namespace QEL::Tests
