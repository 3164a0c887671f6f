#include "tools/trace_reader/overview.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Trace_Reading {

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

std::string_view Colour_Of(Severity severity) {
    return severity == Severity::Error ? red : severity == Severity::Warning ? yellow : std::string_view();
}

std::string_view Colour_Of(const Call& call) {
    const auto colour = Colour_Of(call.worst);
    return !colour.empty() ? colour : call.outcome == Outcome::Unknown ? yellow : green;
}

class Text_Report {
public:
    Text_Report(const Trace& trace, const Text_Layout& layout, const Line_Sink& write)
        : m_Trace(trace), m_Overview(Make_Overview(trace)), m_Layout(layout), m_Write(write) {
        for (const Call* call : m_Overview.calls) {
            m_Number_Width = std::max(m_Number_Width, std::to_string(call->number).size() + 1);
            m_Duration_Width = std::max(m_Duration_Width, Duration_Text(*call).size());
            m_Outcome_Width = std::max(m_Outcome_Width, Label_Of(call->outcome).size());
        }
        for (const Lane& lane : m_Overview.lanes) {
            m_Lane_Width = std::max(m_Lane_Width, Util::Columns_Of(Util::Printable(lane.label)));
        }
        m_Has_Several_Days = m_Overview.Has_Times() && Date_Text(m_Overview.first) != Date_Text(m_Overview.last);
    }

    void Write() const {
        Write_Wrapped(Summary_Text(m_Trace, m_Overview), 0, bold);
        if (const std::string outcomes = Outcomes_Text(m_Overview); !outcomes.empty()) {
            Write_Wrapped(outcomes, 2, {});
        }
        for (const std::string& remark : Remarks(m_Trace, m_Overview)) {
            Write_Wrapped(Util::Printable(remark), 2, dim);
        }
        Write_Section("Errors", m_Overview.errors);
        Write_Section(m_Overview.errors.empty() ? "Requests" : "Other requests", m_Overview.others);
        if (m_Overview.messages_outside > 0) {
            Write_Heading("Messages outside of calls");
        }
        Write_Messages_Outside();
    }

    /// With columns that fit whatever comes later.
    void Write_Followed() {
        m_Number_Width = std::max<std::size_t>(m_Number_Width, 4);
        m_Duration_Width = std::max<std::size_t>(m_Duration_Width, 4);
        m_Outcome_Width = Label_Of(Outcome::Left_In_Place).size();
        m_Has_Several_Days = true;
        for (const Call* call : m_Overview.calls) {
            Write_Call(*call);
        }
        Write_Messages_Outside();
    }

private:
    void Write_Heading(std::string_view heading) const {
        m_Write({});
        m_Write(Coloured(std::string(heading), bold));
        m_Write({});
    }

    void Write_Section(std::string_view heading, const std::vector<const Call*>& calls) const {
        if (calls.empty()) {
            return;
        }
        Write_Heading(heading);
        for (const Call* call : calls) {
            Write_Call(*call);
        }
    }

    void Write_Call(const Call& call) const {
        std::string start = Util::Fit("#" + std::to_string(call.number), m_Number_Width) + "  ";
        if (m_Overview.Has_Times()) {
            std::string time = call.started == No_Time ? "" : Clock_Text(call.started);
            if (m_Has_Several_Days && call.started != No_Time) {
                time = Date_Text(call.started) + " " + time;
            }
            start += Util::Fit(time, m_Has_Several_Days ? 19 : 8) + "  ";
            start += Util::Fit(Duration_Text(call), m_Duration_Width) + "  ";
        }
        if (m_Overview.lanes.size() > 1 || m_Layout.names_process) {
            start += Util::Fit(Util::Printable(m_Overview.lanes[m_Overview.Lane_Of(call)].label), m_Lane_Width) + "  ";
        }
        const std::string outcome = Util::Fit(Label_Of(call.outcome), m_Outcome_Width);
        std::string title = Util::Printable(Title_Of(call));
        if (m_Layout.width) {
            const auto used = Util::Columns_Of(start) + outcome.size() + 2;
            title = Util::Shorten(title, std::max(*m_Layout.width, used + 20) - used);
        }
        m_Write(start + Coloured(outcome, Colour_Of(call)) + "  " + title);

        const std::size_t indent = m_Number_Width + 2;
        if (!call.path.empty() && call.outcome != Outcome::Local) {
            // A path is there to be copied, so it is never cut.
            m_Write(std::string(indent, ' ') + "copy: " + Util::Printable(std::string(call.path)));
        }
        Write_Wrapped(Util::Printable(call.explanation), indent, {});
        Write_Problems(call, indent);
        if (call.worst >= Severity::Warning) {
            m_Write(
                std::string(indent, ' ') +
                Coloured(Util::Printable(Place_Of(m_Trace, call)) + ", thread " + std::to_string(call.thread), dim));
        }
    }

    /// "error in Download_Inet_URL: HTTP GET request failed ..."
    static std::string Message_Text(const Record& record) {
        const auto text = record.text.substr(0, longest_message);
        return std::string(Severity_Label(record.severity)) + " in " + std::string(record.method) + ": " +
               Util::Printable(In_One_Line(text)) + (text.size() < record.text.size() ? " ..." : "");
    }

    /// Each message once: one that repeats comes of one cause.
    void Write_Problems(const Call& call, std::size_t indent) const {
        std::set<std::string> written;
        for (const Record* record : call.records) {
            if (record->severity >= Severity::Warning && written.size() < most_messages) {
                if (const auto [message, is_new] = written.insert(Message_Text(*record)); is_new) {
                    Write_Wrapped(*message, indent, Colour_Of(record->severity));
                }
            }
        }
    }

    void Write_Messages_Outside() const {
        for (const Thread_Records& thread : m_Trace.outside) {
            if (thread.worst == Severity::Data) {
                continue;
            }
            m_Write(Util::Printable(m_Trace.files[m_Trace.runs[thread.run].file].name) + ", thread " +
                    std::to_string(thread.thread));
            for (const Record* record : thread.records) {
                if (record->severity > Severity::Data) {
                    const std::string time = record->time == No_Time ? "" : Clock_Text(record->time) + ", ";
                    Write_Wrapped(time + "line " + std::to_string(record->line) + ": " + Message_Text(*record), 2,
                                  Colour_Of(record->severity));
                    Write_Wrapped(Util::Printable(Meaning_Of(*record)), 4, {});
                }
            }
        }
    }

    /// Writes a text between the indent and the width, broken at blanks where it can be.
    void Write_Wrapped(std::string_view text, std::size_t indent, std::string_view colour) const {
        const std::size_t width = m_Layout.width ? std::max(*m_Layout.width, least_width) - indent : text.size();
        for (const std::string_view line : Util::Wrapped(text, width, true)) {
            if (!line.empty()) {
                m_Write(std::string(indent, ' ') + Coloured(std::string(line), colour));
            }
        }
    }

    std::string Coloured(const std::string& text, std::string_view colour) const {
        if (!m_Layout.colours || colour.empty()) {
            return text;
        }
        return std::string(colour) + text + std::string(plain);
    }

    const Trace& m_Trace;
    const Overview m_Overview;
    const Text_Layout& m_Layout;
    const Line_Sink& m_Write;
    std::size_t m_Number_Width = 0;
    std::size_t m_Duration_Width = 0;
    std::size_t m_Outcome_Width = 0;
    std::size_t m_Lane_Width = 0;
    bool m_Has_Several_Days = false;
};

} // namespace

void Write_Text_Report(const Trace& trace, const Text_Layout& layout, const Line_Sink& write) {
    Text_Report(trace, layout, write).Write();
}

void Write_Followed_Text(const Trace& trace, const Text_Layout& layout, const Line_Sink& write) {
    Text_Report(trace, layout, write).Write_Followed();
}

} // namespace QEL::FrontEnd::Trace_Reading
