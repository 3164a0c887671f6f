#include "tools/trace_reader/text_report.h"

#include "tools/qelfilecache/output.h"
#include "tools/qelfilecache/terminal.h"
#include "tools/trace_reader/call_names.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

constexpr std::string_view red = "\x1B[31m";
constexpr std::string_view yellow = "\x1B[33m";
constexpr std::string_view green = "\x1B[32m";
constexpr std::string_view bold = "\x1B[1m";
constexpr std::string_view dim = "\x1B[2m";
constexpr std::string_view plain = "\x1B[0m";

constexpr std::size_t least_width = 60;
constexpr std::size_t longest_message = 600;
constexpr std::size_t most_messages = 20;

std::string_view Colour_Of(const Call& call) {
    switch (call.worst) {
    case Severity::Error:
        return red;
    case Severity::Warning:
        return yellow;
    default:
        return call.outcome == Outcome::Not_Told ? yellow : green;
    }
}

class Text_Report {
public:
    Text_Report(const Trace& trace, const Overview& overview, const Text_Layout& layout, const Line_Sink& write)
        : m_Trace(trace), m_Overview(overview), m_Layout(layout), m_Write(write) {
        m_Number_Width = std::to_string(trace.calls.size()).size() + 1;
        const auto widen = [&](const std::vector<std::uint32_t>& calls) {
            for (const auto index : calls) {
                const Call& call = m_Trace.calls[index];
                m_Duration_Width = std::max(m_Duration_Width, Duration_Text(call).size());
                m_Outcome_Width = std::max(m_Outcome_Width, Outcome_Label(call.outcome).size());
            }
        };
        widen(overview.errors);
        widen(overview.others);
        for (const Lane& lane : overview.lanes) {
            m_Lane_Width = std::max(m_Lane_Width, Terminal::Columns_Of(Printable(lane.label)));
        }
        m_Has_Several_Days = overview.Has_Times() && Date_Text(overview.first) != Date_Text(overview.last);
    }

    void Write() const {
        Write_Wrapped(Summary_Text(m_Trace, m_Overview), 0, bold);
        if (const std::string outcomes = Outcomes_Text(m_Overview); !outcomes.empty()) {
            Write_Wrapped(outcomes, 2, {});
        }
        for (const std::string& remark : Remarks(m_Trace, m_Overview)) {
            Write_Wrapped(Printable(remark), 2, dim);
        }
        Write_Section("Errors", m_Overview.errors);
        Write_Section(m_Overview.errors.empty() ? "Requests" : "Other requests", m_Overview.others);
    }

private:
    void Write_Section(std::string_view heading, const std::vector<std::uint32_t>& calls) const {
        if (calls.empty()) {
            return;
        }
        m_Write({});
        m_Write(Coloured(std::string(heading), bold));
        m_Write({});
        for (const auto index : calls) {
            Write_Call(index);
        }
    }

    void Write_Call(std::uint32_t index) const {
        const Call& call = m_Trace.calls[index];
        std::string start = Terminal::Fit("#" + std::to_string(m_Overview.numbers[index]), m_Number_Width) + "  ";
        if (m_Overview.Has_Times()) {
            std::string time = call.started == No_Time ? "" : Clock_Text(call.started);
            if (m_Has_Several_Days && call.started != No_Time) {
                time = Date_Text(call.started) + " " + time;
            }
            start += Terminal::Fit(time, m_Has_Several_Days ? 19 : 8) + "  ";
            start += Terminal::Fit(Duration_Text(call), m_Duration_Width) + "  ";
        }
        if (m_Overview.lanes.size() > 1) {
            start +=
                Terminal::Fit(Printable(m_Overview.lanes[m_Overview.lane_of_call[index]].label), m_Lane_Width) + "  ";
        }
        const std::string outcome = Terminal::Fit(Outcome_Label(call.outcome), m_Outcome_Width);
        std::string title = Printable(Title_Of(call));
        if (m_Layout.width) {
            const auto used = Terminal::Columns_Of(start) + outcome.size() + 2;
            title = Terminal::Shorten(title, std::max(*m_Layout.width, used + 20) - used);
        }
        m_Write(start + Coloured(outcome, Colour_Of(call)) + "  " + title);

        const std::size_t indent = m_Number_Width + 2;
        if (!call.path.empty() && call.outcome != Outcome::Local) {
            // A path is there to be copied, so it is never cut.
            m_Write(std::string(indent, ' ') + "copy: " + Printable(std::string(call.path)));
        }
        Write_Wrapped(Printable(call.explanation), indent, {});
        Write_Problems(call, indent);
        if (call.worst >= Severity::Warning) {
            m_Write(std::string(indent, ' ') +
                    Coloured(Printable(Place_Of(m_Trace, call)) + ", thread " + std::to_string(call.thread), dim));
        }
    }

    /// Each message once: one that repeats comes of one cause.
    void Write_Problems(const Call& call, std::size_t indent) const {
        std::set<std::string> written;
        for (std::uint32_t index = 0; index < call.record_count && written.size() < most_messages; ++index) {
            const Record& record = m_Trace.Record_Of(call, index);
            if (record.severity < Severity::Warning) {
                continue;
            }
            const auto text = record.text.substr(0, longest_message);
            const std::string message = Printable(In_One_Line(text)) + (text.size() < record.text.size() ? " ..." : "");
            if (written.insert(message).second) {
                Write_Wrapped(std::string(Severity_Label(record.severity)) + " in " + std::string(record.method) +
                                  ": " + message,
                              indent, record.severity == Severity::Error ? red : yellow);
            }
        }
    }

    /// Writes a text between the indent and the width, broken at blanks where it can be.
    void Write_Wrapped(std::string_view text, std::size_t indent, std::string_view colour) const {
        const std::string margin(indent, ' ');
        const std::size_t width = m_Layout.width ? std::max(*m_Layout.width, least_width) - indent : text.size();
        while (Terminal::Columns_Of(text) > width) {
            std::size_t end = 0;
            std::size_t columns = 0;
            std::size_t blank = 0;
            for (; end < text.size(); ++end) {
                const bool begins_a_character = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
                if (begins_a_character && columns++ == width) {
                    break;
                }
                if (text[end] == ' ') {
                    blank = end;
                }
            }
            if (end == text.size()) {
                break;
            }
            if (text[end] == ' ') {
                blank = end;
            }
            const std::size_t cut = blank > 0 ? blank : end;
            m_Write(margin + Coloured(std::string(text.substr(0, cut)), colour));
            text.remove_prefix(blank > 0 ? blank + 1 : end);
        }
        if (!text.empty()) {
            m_Write(margin + Coloured(std::string(text), colour));
        }
    }

    std::string Coloured(const std::string& text, std::string_view colour) const {
        if (!m_Layout.colours || colour.empty()) {
            return text;
        }
        return std::string(colour) + text + std::string(plain);
    }

    const Trace& m_Trace;
    const Overview& m_Overview;
    const Text_Layout& m_Layout;
    const Line_Sink& m_Write;
    std::size_t m_Number_Width = 0;
    std::size_t m_Duration_Width = 0;
    std::size_t m_Outcome_Width = 0;
    std::size_t m_Lane_Width = 0;
    bool m_Has_Several_Days = false;
};

} // namespace

void Write_Text_Report(const Trace& trace, const Overview& overview, const Text_Layout& layout,
                       const Line_Sink& write) {
    Text_Report(trace, overview, layout, write).Write();
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
