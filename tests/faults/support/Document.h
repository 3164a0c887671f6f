#pragma once

#include "tests/support/Standard_Library.h"

namespace QEL::Tests {

/// A text that says which version of which document it is, so that any copy of it can be checked: a
/// part of a document is not one, and neither are the parts of two.
///
/// It holds no line feed, so a text file has the same bytes on every platform.
inline std::string Document_Text(const std::string& name, unsigned version) {
    std::uint32_t state = version * 2654435761U + static_cast<std::uint32_t>(name.size());
    const auto next = [&state] { return state = state * 1664525U + 1013904223U; };
    next();
    // Most fit into a stream's buffer, some do not.
    const std::size_t size = 200 + (next() >> 8) % (version % 4 == 0 ? 60000 : 3000);
    std::string text =
        "<document name='" + name + "' version='" + std::to_string(version) + "' size='" + std::to_string(size) + "'>";
    text.reserve(text.size() + size + 16);
    for (std::size_t i = 0; i < size; ++i) {
        text += static_cast<char>('a' + (next() >> 24) % 26);
    }
    return text + "</document>";
}

/// The version of the document that a text is the whole of; -1 when it is not one.
inline int Version_Of(const std::string& text, const std::string& name) {
    const std::string begin = "<document name='" + name + "' version='";
    unsigned version = 0;
    if (!text.starts_with(begin) || std::sscanf(text.c_str() + begin.size(), "%u", &version) != 1) {
        return -1;
    }
    return text == Document_Text(name, version) ? static_cast<int>(version) : -1;
}

/// A line that shows what is missing of it: its number gives its length.
inline std::string Trace_Line(int process, int thread, int line) {
    const std::string begin = "process " + std::to_string(process) + " thread " + std::to_string(thread) + " line " +
                              std::to_string(line) + " ";
    return begin + std::string(static_cast<std::size_t>(line * 37 % 301), static_cast<char>('a' + line % 26)) + " end";
}

} // namespace QEL::Tests
