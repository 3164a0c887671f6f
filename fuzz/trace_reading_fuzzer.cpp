// Any file as a trace: it is read without a crash, whatever is told of it lies in it, each record is
// told once, line ends make no difference, and the page made of it holds no markup but its own.

#include "fuzz/Require.h"
#include "tools/qelfilecache/trace_reading/Trace_Reader.h"
#include "tools/qelfilecache/trace_reading/html_page.h"
#include "tools/qelfilecache/trace_reading/json_report.h"
#include "tools/qelfilecache/trace_reading/page_parts.h"
#include "tools/qelfilecache/trace_reading/text_report.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

using namespace QEL::FrontEnd::Tool::Trace_Reading;

namespace {

void Require_Within(const Trace& trace, const Run& run, std::string_view text) {
    const std::string& content = trace.files[run.file].content;
    const std::string& name = trace.files[run.file].name;
    const auto lies_in = [&](const std::string& whole) {
        return text.data() >= whole.data() && text.data() + text.size() <= whole.data() + whole.size();
    };
    REQUIRE(text.empty() || lies_in(content) || lies_in(name));
}

void Require_Order(const Trace& trace) {
    std::set<std::uint32_t> told(trace.order.begin(), trace.order.end());
    REQUIRE(told.size() == trace.order.size());
    std::size_t of_calls = 0;
    for (std::uint32_t index = 0; index < trace.calls.size(); ++index) {
        const Call& call = trace.calls[index];
        of_calls += call.record_count;
        REQUIRE(call.record_count > 0 && call.first_line <= call.last_line);
        Require_Within(trace, trace.runs[call.run], call.subject);
        Require_Within(trace, trace.runs[call.run], call.path);
        for (std::uint32_t record = 0; record < call.record_count; ++record) {
            REQUIRE(trace.Record_Of(call, record).call == index);
        }
    }
    REQUIRE(of_calls == trace.order.size());
    for (const Record& record : trace.records) {
        REQUIRE((record.kind == Record_Kind::Writer) == (record.call == No_Call));
        REQUIRE(record.run < trace.runs.size() && record.depth <= 16);
        Require_Within(trace, trace.runs[record.run], record.text);
    }
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
    REQUIRE(std::none_of(page.begin(), page.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte < 0x20 && byte != '\n') || byte == 0x7F;
    }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string content(reinterpret_cast<const char*>(bytes), size);
    Trace_Reader reader;
    const bool is_trace = reader.Add("qelfilecache_4711.trc", content).empty();
    const Trace trace = reader.Finish();
    REQUIRE(trace.files.size() == (is_trace ? 1 : 0));
    REQUIRE(is_trace || trace.records.empty());
    Require_Order(trace);

    const Overview overview = Make_Overview(trace);
    std::ostringstream page;
    Write_Html_Page(trace, overview, page);
    Require_Harmless(page.str());
    Write_Text_Report(trace, overview, {60, true},
                      [](const std::string& line) { REQUIRE(line.find_first_of("\n\r\b") == std::string::npos); });
    Write_Json_Report(trace, overview, [](const std::string&) {});

    if (content.find('\r') == std::string::npos && is_trace) {
        std::string other;
        for (const char character : content) {
            other += character == '\n' ? std::string("\r\n") : std::string(1, character);
        }
        Trace_Reader other_reader;
        REQUIRE(other_reader.Add("qelfilecache_4711.trc", other).empty());
        const Trace other_trace = other_reader.Finish();
        REQUIRE(other_trace.calls.size() == trace.calls.size());
        for (std::size_t index = 0; index < trace.calls.size(); ++index) {
            REQUIRE(other_trace.calls[index].outcome == trace.calls[index].outcome);
            REQUIRE(other_trace.calls[index].subject == trace.calls[index].subject);
            REQUIRE(other_trace.calls[index].explanation == trace.calls[index].explanation);
        }
    }
    return 0;
}
