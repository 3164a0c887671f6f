#include "tools/trace_reader/html.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

constexpr std::size_t most_lanes = 30; ///< the threads beyond share one
constexpr std::size_t most_bars = 1500;
constexpr int slots_of_many = 240;       ///< bars a lane when they sum up
constexpr double least_bar_width = 0.35; ///< percent; a narrower bar could not be hit
constexpr std::size_t longest_title = 300;

struct Bar {
    double start = 0; ///< both in percent
    double end = 0;
    const Call* call = nullptr; ///< the worst of those it stands for
    std::size_t count = 1;
    std::size_t errors = 0;
};

std::string Percent(double value) {
    char text[32];
    return std::string(text, std::to_chars(text, std::end(text), value, std::chars_format::fixed, 2).ptr) + "%";
}

/// Which of two calls a reader should see first.
bool Is_Worse(const Call& left, const Call& right) {
    return left.worst > right.worst ||
           (left.worst == right.worst && left.outcome == Outcome::Failed && right.outcome != Outcome::Failed);
}

class Timeline {
public:
    Timeline(const Overview& overview, std::ostream& page) : m_Overview(overview), m_Page(page) {
        m_Lanes.resize(std::min(overview.lanes.size(), most_lanes));
        // A moment of the clock is as wide as the second it lies in.
        m_Span = overview.Has_Times() ? static_cast<double>(overview.last - overview.first + 1) : 1;
    }

    void Write() {
        if (m_Calls.empty()) {
            return;
        }
        Place_Bars();
        const bool summed_up = m_Calls.size() > most_bars;
        m_Page << "<section><h2>Timeline <small>"
               << (m_Overview.Has_Times() ? "by the clock of the trace, which has whole seconds"
                                          : "in order, as the trace has no time stamps")
               << (summed_up ? "; each bar stands for several calls and has the colour of the worst" : "")
               << "</small></h2>\n<div class=\"lanes" << (m_Lanes.size() > 1 ? " labelled" : "") << "\">\n";
        if (m_Lanes.size() > 1) {
            m_Page << "<div class=\"lane\"><span>Process</span></div>\n";
        }
        for (std::size_t lane = 0; lane < m_Lanes.size(); ++lane) {
            Write_Lane(lane, summed_up);
        }
        if (m_Overview.Has_Times()) {
            Write_Axis();
        }
        m_Page << "</div><p class=\"legend\"><span class=\"red\">failed</span><span class=\"amber\">the last good "
                  "copy, or unknown</span><span class=\"blue\">fetched</span><span class=\"green\">served from the "
                  "cache</span><span class=\"grey\">anything else</span>"
               << (m_Overview.Has_Times() && !summed_up ? "dashed: shorter than a second, exact length unknown" : "")
               << "</p></section>\n";
    }

private:
    std::size_t Lane_Of(const Call& call) const { return std::min(m_Overview.Lane_Of(call), m_Lanes.size() - 1); }

    void Place_Bars() {
        if (!m_Overview.Has_Times()) {
            const double width = 100.0 / static_cast<double>(m_Calls.size());
            for (std::size_t place = 0; place < m_Calls.size(); ++place) {
                Add(*m_Calls[place], static_cast<double>(place) * width, static_cast<double>(place + 1) * width);
            }
            return;
        }
        // Calls that begin in the same second on the same lane share it, in their order.
        std::map<std::pair<std::size_t, Local_Time>, std::pair<int, int>> seconds;
        for (const Call* call : m_Calls) {
            ++seconds[{Lane_Of(*call), call->started}].first;
        }
        for (const Call* call : m_Calls) {
            if (call->started == No_Time) {
                continue;
            }
            auto& [count, next] = seconds[{Lane_Of(*call), call->started}];
            const auto second = static_cast<double>(call->started - m_Overview.first);
            const double start = second + static_cast<double>(next) / count;
            ++next;
            const double least_end = second + static_cast<double>(next) / count;
            const double end = std::max(static_cast<double>(call->ended - m_Overview.first), least_end);
            Add(*call, start / m_Span * 100, end / m_Span * 100);
        }
    }

    void Add(const Call& call, double start, double end) {
        auto& bars = m_Lanes[Lane_Of(call)];
        const std::size_t errors = call.worst == Severity::Error ? 1 : 0;
        if (m_Calls.size() <= most_bars) {
            bars.push_back({start, end, &call, 1, errors});
            return;
        }
        // Many: all that begin in the same slot are one bar.
        const double slot = 100.0 / slots_of_many;
        const double slot_start = std::min(static_cast<int>(start / slot), slots_of_many - 1) * slot;
        if (bars.empty() || bars.back().start < slot_start) {
            bars.push_back({slot_start, slot_start + slot * 0.85, &call, 1, errors});
            return;
        }
        Bar& bar = bars.back();
        ++bar.count;
        bar.errors += errors;
        if (Is_Worse(call, *bar.call)) {
            bar.call = &call;
        }
    }

    void Write_Lane(std::size_t lane, bool summed_up) {
        const bool holds_the_rest = lane + 1 == m_Lanes.size() && m_Overview.lanes.size() > m_Lanes.size();
        const std::string label = holds_the_rest ? "all others" : Html_Text(m_Overview.lanes[lane].label);
        m_Page << "<div class=\"lane\"><span title=\""
               << (holds_the_rest ? label : Html_Text(m_Overview.lanes[lane].file)) << "\">" << label
               << "</span><svg role=\"img\" aria-label=\"Calls of " << label << "\">";
        for (const Bar& bar : m_Lanes[lane]) {
            const Call& call = *bar.call;
            m_Page << "<a href=\"#c" << call.number << "\" tabindex=\"-1\" class=\""
                   << (call.worst == Severity::Error && summed_up ? "red" : Colour_Of(call.outcome)) << "\"><rect x=\""
                   << Percent(bar.start) << "\" y=\"4\" width=\""
                   << Percent(std::max(bar.end - bar.start, least_bar_width)) << "\" height=\"16\"" << Faintness(bar)
                   << (bar.count == 1 && call.started != No_Time && call.started == call.ended ? " class=\"brief\""
                                                                                               : "")
                   << "><title>";
            if (bar.count > 1) {
                m_Page << bar.count << " calls, " << bar.errors << " with errors; the first of the worst: ";
            }
            m_Page << "#" << call.number << " " << Label_Of(call.outcome) << " "
                   << Html_Text(Title_Of(call), longest_title) << "</title></rect></a>";
        }
        m_Page << "</svg></div>\n";
    }

    /// A bar with few errors among its calls is fainter than one with many.
    static std::string Faintness(const Bar& bar) {
        if (bar.errors == 0 || bar.errors == bar.count) {
            return {};
        }
        const auto percent = 40 + 60 * bar.errors / bar.count;
        return " fill-opacity=\"0." + std::to_string(percent) + "\"";
    }

    void Write_Axis() {
        constexpr Local_Time steps[] = {1,   2,    5,    10,   15,    30,    60,    120,   300,   600,
                                        900, 1800, 3600, 7200, 14400, 21600, 43200, 86400, 172800};
        constexpr Local_Time most_ticks = 6;
        constexpr double last_label = 85; // percent; behind it, there is no room for a label
        const Local_Time span = m_Overview.last - m_Overview.first + 1;
        Local_Time step = *std::find_if(std::begin(steps), std::end(steps) - 1,
                                        [&](Local_Time candidate) { return span / candidate <= most_ticks; });
        step *= std::max<Local_Time>(1, span / step / most_ticks);
        m_Page << "<div class=\"lane axis\"><span></span><svg aria-hidden=\"true\">";
        const bool several_days = Date_Text(m_Overview.first) != Date_Text(m_Overview.last);
        for (Local_Time tick = m_Overview.first + (step - m_Overview.first % step) % step; tick <= m_Overview.last;
             tick += step) {
            const double percent = static_cast<double>(tick - m_Overview.first) / m_Span * 100;
            const std::string place = Percent(percent);
            m_Page << "<line x1=\"" << place << "\" x2=\"" << place << "\" y1=\"0\" y2=\"5\"/>";
            if (percent <= last_label) {
                m_Page << "<text x=\"" << place << "\" y=\"17\">"
                       << (several_days ? Date_Text(tick).substr(5) + " " + Clock_Text(tick).substr(0, 5)
                                        : Clock_Text(tick))
                       << "</text>";
            }
        }
        m_Page << "</svg></div>\n";
    }

    const Overview& m_Overview;
    std::ostream& m_Page;
    const std::vector<const Call*>& m_Calls = m_Overview.calls;
    std::vector<std::vector<Bar>> m_Lanes;
    double m_Span;
};

} // namespace

void Write_Html_Timeline(const Overview& overview, std::ostream& page) {
    Timeline(overview, page).Write();
}

} // namespace QEL::FrontEnd::Trace_Reading
