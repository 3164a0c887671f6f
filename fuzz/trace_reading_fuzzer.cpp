// Any files as traces: they are read without a crash, whatever is said of them lies in them, each
// record belongs to one call or to none, line ends make no difference, the page made of them holds no markup but its
// own, and the other reports hold no control characters.
//
// The input is a file, or several of them with a line between each and the next.

#include "fuzz/Require.h"
#include "tools/trace_reader/html.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

using namespace QEL::FrontEnd::Trace_Reading;

namespace {

constexpr std::string_view Between_Files = "\n======== next file ========\n";

std::vector<std::string> Files_In(std::string_view text) {
    std::vector<std::string> files;
    for (;;) {
        const auto end = text.find(Between_Files);
        files.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return files;
        }
        text.remove_prefix(end + Between_Files.size());
    }
}

struct Read_Files {
    Trace trace;
    std::vector<bool> taken; ///< which files are traces
};

Read_Files Read(const std::vector<std::string>& contents) {
    Read_Files read;
    Trace_Reader reader;
    for (const std::string& content : contents) {
        // Every second name names no process, and is as hostile as its content.
        const bool is_own = read.taken.size() % 2 == 0;
        const char* const name = is_own ? "qelfilecache_4711.trc" : "C:\\logs\\<img>\x1B\xE4&.txt";
        read.taken.push_back(reader.Add(name, content).empty());
    }
    read.trace = reader.Finish();
    return read;
}

void Require_Within(const Trace& trace, const Run& run, std::string_view text) {
    const std::string& content = trace.files[run.file].content;
    const std::string& name = trace.files[run.file].name;
    const auto lies_in = [&](const std::string& whole) {
        return text.data() >= whole.data() && text.data() + text.size() <= whole.data() + whole.size();
    };
    REQUIRE(text.empty() || lies_in(content) || lies_in(name));
}

void Require_Order(const Trace& trace) {
    std::set<const Record*> shown;
    const auto show = [&](const Thread_Records& records) {
        REQUIRE(!records.records.empty());
        for (const Record* record : records.records) {
            REQUIRE(record->run == records.run && record->thread == records.thread);
            REQUIRE(record->severity <= records.worst);
            REQUIRE(shown.insert(record).second);
        }
        REQUIRE(std::is_sorted(records.records.begin(), records.records.end()));
    };
    std::for_each(trace.calls.begin(), trace.calls.end(), show);
    std::for_each(trace.outside.begin(), trace.outside.end(), show);
    for (const Call& call : trace.calls) {
        Require_Within(trace, trace.runs[call.run], call.subject);
        Require_Within(trace, trace.runs[call.run], call.path);
    }
    for (const Run& run : trace.runs) {
        REQUIRE(run.file < trace.files.size());
    }
    for (const Record& record : trace.records) {
        REQUIRE((record.kind == Record_Kind::Writer) != shown.contains(&record));
        REQUIRE(record.run < trace.runs.size() && record.depth <= 16);
        Require_Within(trace, trace.runs[record.run], record.text);
    }
}

bool Is_Control_Character(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
}

/// True of a text with U+0080 to U+009F in UTF-8.
bool Holds_Second_Control_Character(const std::string& text) {
    for (auto place = text.find('\xC2'); place != std::string::npos; place = text.find('\xC2', place + 1)) {
        const auto next = place + 1 < text.size() ? static_cast<unsigned char>(text[place + 1]) : 0U;
        if (next >= 0x80 && next <= 0x9F) {
            return true;
        }
    }
    return false;
}

std::size_t Count(const std::string& text, std::string_view part) {
    std::size_t count = 0;
    for (auto place = text.find(part); place != std::string::npos; place = text.find(part, place + 1)) {
        ++count;
    }
    return count;
}

void Require_Harmless(const std::string& page) {
    const std::string own = std::string(page_script) + std::string(page_style);
    for (const std::string_view markup : {"<script", "</script", "<style", "</style", "<html", "</html"}) {
        REQUIRE(Count(page, markup) == 1 + Count(own, markup));
    }
    for (const std::string_view markup : {"<img", "<iframe", "<link", "<base", "<object", "<!--"}) {
        REQUIRE(Count(page, markup) == 0);
    }
    REQUIRE(Count(page, "<details") == Count(page, "</details>"));
    REQUIRE(std::none_of(page.begin(), page.end(), [](char c) { return c != '\n' && Is_Control_Character(c); }));
}

void Require_Plain_Text(const Trace& trace) {
    Write_Text_Report(trace, {60, true},
                      [](const std::string& line) { REQUIRE(line.find_first_of("\n\r\b") == std::string::npos); });
    Write_Text_Report(trace, {std::nullopt, false}, [](const std::string& line) {
        REQUIRE(std::none_of(line.begin(), line.end(), Is_Control_Character));
        REQUIRE(!Holds_Second_Control_Character(line));
    });
}

void Require_Json(const Trace& trace) {
    std::string text;
    Write_Json_Report(trace, [&](const std::string& line) { text += line + '\n'; });
    const auto json = nlohmann::json::parse(text, nullptr, false);
    REQUIRE(json.is_object() && json["runs"].size() == trace.runs.size());
    const Overview overview = Make_Overview(trace);
    REQUIRE(json["calls"].size() == overview.calls.size());
    REQUIRE(json["messages"].size() == overview.messages_outside);
    const auto complaints = std::count_if(trace.records.begin(), trace.records.end(),
                                          [](const Record& record) { return record.kind == Record_Kind::Writer; });
    REQUIRE(json["complaints"].size() == static_cast<std::size_t>(complaints));
}

void Require_The_Same_With_Windows_Line_Ends(const Read_Files& read, std::vector<std::string> contents) {
    for (std::string& content : contents) {
        std::string other;
        for (const char character : content) {
            other += character == '\n' ? std::string("\r\n") : std::string(1, character);
        }
        content = std::move(other);
    }
    const auto other = Read(contents);
    REQUIRE(other.taken == read.taken);
    REQUIRE(other.trace.calls.size() == read.trace.calls.size());
    for (std::size_t index = 0; index < read.trace.calls.size(); ++index) {
        const Call& call = read.trace.calls[index];
        const Call& other_call = other.trace.calls[index];
        REQUIRE(other_call.outcome == call.outcome);
        REQUIRE(other_call.subject == call.subject);
        REQUIRE(other_call.explanation == call.explanation);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), size);
    const auto contents = Files_In(input);
    const auto read = Read(contents);
    const Trace& trace = read.trace;
    REQUIRE(trace.files.size() == static_cast<std::size_t>(std::count(read.taken.begin(), read.taken.end(), true)));
    REQUIRE(!trace.files.empty() || trace.records.empty());
    Require_Order(trace);

    std::ostringstream page;
    Write_Html_Page(trace, page);
    Require_Harmless(page.str());
    Require_Plain_Text(trace);
    Require_Json(trace);

    if (input.find('\r') == std::string_view::npos) {
        Require_The_Same_With_Windows_Line_Ends(read, contents);
    }
    return 0;
}
