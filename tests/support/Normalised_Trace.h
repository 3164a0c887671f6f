#pragma once

#include "tests/support/Standard_Library.h"

namespace QEL::Tests {

/// A trace file without what differs from run to run and from platform to platform: thread ids,
/// addresses, line numbers, UUIDs, the program's path, and what the caller names in addition
/// (directories, ports, stamps), each replaced by a fixed word.
class Normalised_Trace {
public:
    /// A text that becomes a word, wherever it stands.
    void Replace(const std::string& text, const std::string& word) { m_Words.emplace_back(text, word); }

    std::string Read(const std::filesystem::path& file) const {
        std::ostringstream content;
        content << std::ifstream(file).rdbuf();
        std::string trace = content.str();
        for (const auto& [text, word] : m_Words) {
            for (auto at = trace.find(text); at != std::string::npos; at = trace.find(text, at + word.size())) {
                trace.replace(at, text.size(), word);
            }
        }
        static const std::vector<std::pair<std::regex, std::string>> s_patterns = {
            {std::regex("TID: [0-9]+"), "TID: #"},
            {std::regex(R"(\[[0-9A-Fa-fx]+\]/[0-9]+: )"), "[@]/#: "},
            {std::regex("(FileCache::[A-Za-z_0-9]+)/[0-9]+: "), "$1/#: "},
            {std::regex("(file_contents=|returned |INVALID_HANDLE_VALUE=|s_instance = )[0-9A-Fa-fx]{8,}"), "$1@"},
            {std::regex("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"), "UUID"},
            {std::regex(R"(\*\* Program: \t[^\n]*)"), "** Program: \tPROGRAM"},
            {std::regex(R"((Delete_File\('[^']*'\) returned )-?[0-9]+)"), "$1#"},
        };
        for (const auto& [pattern, word] : s_patterns) {
            trace = std::regex_replace(trace, pattern, word);
        }
        return trace;
    }

private:
    std::vector<std::pair<std::string, std::string>> m_Words;
};

} // namespace QEL::Tests
