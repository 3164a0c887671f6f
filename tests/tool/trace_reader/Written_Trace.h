#pragma once

#include "tests/support/Standard_Library.h"
#include "tools/trace_reader/trace_reader.h"

namespace QEL::Tests {

using namespace QEL::FrontEnd::Trace_Reading;

/// A trace as the cache writes it, write by write, so that several can be mixed.
/// @param lines such as "> Method(arguments)" (a call), "< Method(result)" (its return), and with data, a warning or an
/// error ". Method message", "? Method message", "! Method message", in which "|" ends a line; "~" behind an error
/// keeps its line open; "B" marks a bug; "= " is written as it stands. Some methods have short names.
/// @param stamp such as "(21.11.26 10:20:16) ", before each write; it takes the place of what marks errors.
inline std::vector<std::string> Writes_Of(const std::string& lines, int thread = 7, const std::string& stamp = {}) {
    static const std::map<std::string, std::string> names = {{"get", "Get_Cached_File_and_Status"},
                                                             {"policy", "Get_Cached_Remote_File"},
                                                             {"GET", "Download_Inet_URL"},
                                                             {"HEAD", "Is_Inet_URL_Expired"}};
    std::vector<std::string> writes;
    const auto write = [&](const std::vector<std::string>& texts) {
        for (const auto& text : texts) {
            writes.push_back(stamp + text);
        }
    };
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const auto end = std::min(line.find_first_of("( ", 2), line.size());
        const std::string name = line.size() > 2 ? line.substr(2, end - 2) : "";
        const std::string step = "TID: " + std::to_string(thread) + ", QEL::FrontEnd::FileCache::CFileCache::" +
                                 (names.contains(name) ? names.at(name) : name);
        const std::string prefix = step + "[0x55d0c8a41eb0]/17: ";
        std::string rest = end < line.size() ? line.substr(end + 1) : "";
        std::replace(rest.begin(), rest.end(), '|', '\n');
        const std::string inner = rest.substr(0, rest.find_last_of(')'));
        switch (line[0]) {
        case '>':
            write(inner.empty() ? std::vector{prefix + "CALL\n"}
                                : std::vector<std::string>{prefix + "CALL", "(", inner, ")\n"});
            break;
        case '<':
            write({step + "/19: return value:", "(", inner, ")\n"});
            break;
        case 'B':
            write({" ---- BUG ---- "});
            break;
        case '=':
            write({line.substr(2) + "\n"});
            break;
        default:
            const bool is_open = rest.ends_with('~');
            const std::string mark = line[0] == '!' ? "***ERROR***: " : line[0] == '?' ? "***WARNING*: " : "";
            write(
                {(stamp.empty() ? mark : "") + prefix + rest.substr(0, rest.size() - is_open) + (is_open ? "" : "\n")});
        }
    }
    return writes;
}

inline std::string Records_Of(const std::string& lines, int thread = 7, const std::string& stamp = {}) {
    std::string text;
    for (const auto& write : Writes_Of(lines, thread, stamp)) {
        text += write;
    }
    return text;
}

inline std::string Heading(const std::string& level = "Error, Warning, Developer Notes and additional data ") {
    const std::string rule = std::string(80, '*') + "\n";
    return rule + "****************************  QEL SE, Trace File  ******************************\n" +
           "** Main trace mode: " + level + "\n** Program: \t/usr/bin/pad\n" + rule + "\n";
}

/// Two traces written at the same time, turn by turn.
inline std::string Mixed(const std::vector<std::string>& one, const std::vector<std::string>& other) {
    std::string text;
    for (std::size_t turn = 0; turn < std::max(one.size(), other.size()); ++turn) {
        text += (turn < one.size() ? one[turn] : "") + (turn < other.size() ? other[turn] : "");
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

} // namespace QEL::Tests
