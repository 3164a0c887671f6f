#include "tools/trace_reader/html.h"
#include "util/Visible_Text.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

// What a browser shows without delay; errors come first, so they are the last to be left out.
constexpr std::size_t most_calls = 6000;
constexpr std::size_t most_record_bytes = 8 << 20;
constexpr std::size_t most_records_in_a_row = 5000;
constexpr std::size_t longest_record = 4000;
constexpr std::size_t longest_subject = 2000;
constexpr Local_Time long_wait = 2; ///< seconds; shown beside the record that came late

class Html_Page {
public:
    Html_Page(const Trace& trace, std::ostream& page)
        : m_Trace(trace), m_Overview(Make_Overview(trace)), m_Page(page) {}

    void Write() {
        Write_Head();
        Write_Summary();
        m_Page << "<main id=\"main\">\n"
                  "<form role=\"search\" hidden><input type=\"search\" aria-label=\"Filter the calls\" "
                  "placeholder=\"Filter by address, message or outcome ( / )\">"
                  "<output aria-live=\"polite\"></output>"
                  "<button type=\"button\">Unfold</button><button type=\"button\">Fold</button></form>\n";
        Write_Html_Timeline(m_Overview, m_Page);
        Write_Section("Errors", m_Overview.errors);
        Write_Section(m_Overview.errors.empty() ? "Calls" : "Other calls", m_Overview.others);
        Write_Messages_Outside();
        m_Page << "<p class=\"nothing\" hidden>Nothing matches the filter.</p>\n</main>\n";
        Write_Sources();
        m_Page << "<script>" << page_script << "</script>\n</body></html>\n";
    }

private:
    std::size_t Count(Outcome outcome) const { return m_Overview.outcomes[static_cast<std::size_t>(outcome)]; }

    std::string Title() const {
        if (m_Trace.calls.empty() && m_Overview.messages_outside > 0) {
            return Util::Counted(m_Overview.messages_outside, "message");
        }
        const std::size_t failed = Count(Outcome::Failed);
        const std::size_t old = Count(Outcome::Old_Copy);
        std::string title = Util::Counted(m_Overview.requests, "request");
        if (failed == 0 && old == 0) {
            return title + (m_Overview.errors.empty() ? ", none failed" : ", some met errors");
        }
        title += failed > 0 ? ", " + std::to_string(failed) + " failed" : "";
        return title + (old > 0 ? ", " + std::to_string(old) + " served an old copy" : "");
    }

    void Write_Head() {
        // No source but the page itself may say how it looks or what it does, should any text of the
        // trace ever be taken for more than text.
        m_Page << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
               << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'sha256-"
               << Base64_Of_Hex(page_style_hash) << "'; script-src 'sha256-" << Base64_Of_Hex(page_script_hash)
               << "'; base-uri 'none'; form-action 'none'\">\n"
               << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
               << "<title>Trace: " << Title() << "</title>\n<style>" << page_style << "</style></head>\n<body>\n"
               << "<a class=\"skip\" href=\"#main\">Skip to the calls</a>\n";
    }

    void Write_Summary() {
        m_Page << "<header><h1>" << Title() << "</h1>\n<p class=\"quiet\">"
               << Html_Text(Summary_Text(m_Trace, m_Overview)) << "</p>\n<ul class=\"outcomes\">";
        for (std::size_t number = 0; number < Outcome_Count; ++number) {
            const auto shown = static_cast<Outcome>(number);
            if (const std::size_t count = Count(shown); count > 0) {
                m_Page << "<li class=\"" << Colour_Of(shown) << "\" data-label=\"" << Label_Of(shown) << "\"><b>"
                       << count << "</b>" << Label_Of(shown) << "</li>";
            }
        }
        m_Page << "</ul>\n";
        if (const auto remarks = Remarks(m_Trace, m_Overview); !remarks.empty()) {
            m_Page << "<ul class=\"remarks\">";
            for (const std::string& remark : remarks) {
                m_Page << "<li>" << Html_Text(remark) << "</li>";
            }
            m_Page << "</ul>\n";
        }
        m_Page << "</header>\n";
    }

    void Write_Section(std::string_view heading, const std::vector<const Call*>& calls) {
        if (calls.empty()) {
            return;
        }
        const std::size_t listed = std::min(calls.size(), most_calls - m_Calls_Listed);
        m_Calls_Listed += listed;
        m_Page << "<section class=\"calls\"><h2>" << heading << " <small>" << calls.size() << "</small></h2>\n";
        for (std::size_t place = 0; place < listed; ++place) {
            Write_Call(*calls[place]);
        }
        if (listed < calls.size()) {
            m_Page
                << "<p class=\"quiet\">" << calls.size() - listed
                << " more are not on this page, which would grow too large; the text and --json list them all.</p>\n";
        }
        m_Page << "</section>\n";
    }

    static std::string_view Weight_Class(Severity worst) {
        return worst == Severity::Error ? " error" : worst == Severity::Warning ? " warning" : "";
    }

    static std::string Outcome_Attribute(Outcome outcome) {
        return " data-outcome=\"" + std::string(Label_Of(outcome)) + "\"";
    }

    void Write_Call(const Call& call) {
        m_Page << "<details class=\"call" << Weight_Class(call.worst) << "\" id=\"c" << call.number << "\""
               << (call.operation == Operation::Get ? Outcome_Attribute(call.outcome) : "")
               << "><summary><span class=\"n\">" << call.number << "</span><span class=\"t\">";
        const bool has_time = call.started != No_Time;
        if (has_time) {
            m_Page << Clock_Text(call.started) << " \xC2\xB7 " << Html_Text(Duration_Text(call));
        }
        if (m_Overview.lanes.size() > 1) {
            m_Page << (has_time ? " \xC2\xB7 " : "") << Html_Text(m_Overview.lanes[m_Overview.Lane_Of(call)].label);
        }
        m_Page << "</span><span class=\"o " << Colour_Of(call.outcome) << "\">" << Label_Of(call.outcome)
               << "</span><span class=\"s\">" << Html_Text(Title_Of(call), longest_subject)
               << "</span><span class=\"w\">" << Html_Text(call.explanation, longest_subject)
               << "</span></summary><div class=\"b\"><dl>";
        if (!call.path.empty()) {
            Write_Detail("Copy", Html_Text(call.path));
        }
        Write_Detail("Trace", Html_Text(Place_Of(m_Trace, call)));
        Write_Detail("Thread", std::to_string(call.thread));
        m_Page << "</dl>";
        Write_Records(call.records);
        m_Page << "</div></details>\n";
    }

    /// Each thread unfolded: nothing but its records shows it.
    void Write_Messages_Outside() {
        if (m_Trace.outside.empty()) {
            return;
        }
        m_Page << "<section class=\"calls\"><h2>Messages outside of calls <small>" << m_Overview.messages_outside
               << "</small></h2>\n";
        const std::size_t listed = std::min(m_Trace.outside.size(), most_calls);
        for (std::size_t place = 0; place < listed; ++place) {
            const Thread_Records& thread = m_Trace.outside[place];
            m_Page << "<details open class=\"call" << Weight_Class(thread.worst) << "\" id=\"t" << place + 1
                   << "\" data-messages=\"" << Messages_In(thread)
                   << "\"><summary><span class=\"n\"></span><span class=\"t\">thread " << thread.thread
                   << "</span><span class=\"o\"></span><span class=\"s\">"
                   << Html_Text(m_Trace.files[m_Trace.runs[thread.run].file].name, longest_subject)
                   << "</span></summary><div class=\"b\">";
            Write_Records(thread.records);
            m_Page << "</div></details>\n";
        }
        if (listed < m_Trace.outside.size()) {
            m_Page << "<p class=\"quiet\">" << m_Trace.outside.size() - listed << " more threads</p>\n";
        }
        m_Page << "</section>\n";
    }

    void Write_Detail(std::string_view term, const std::string& html) {
        m_Page << "<dt>" << term << "</dt><dd>" << html << "</dd>";
    }

    void Write_Records(const std::vector<const Record*>& records) {
        if (m_Record_Bytes >= most_record_bytes) {
            m_Page << "<p class=\"quiet\">Its records are left out to keep the page small: read them in the trace, or "
                      "make "
                      "a page of that file alone.</p>";
            return;
        }
        const bool has_times =
            std::any_of(records.begin(), records.end(), [](const Record* record) { return record->time != No_Time; });
        m_Page << (has_times ? "<ol class=\"r\">" : "<ol class=\"r untimed\">");
        Local_Time last = No_Time;
        for (std::size_t place = 0; place < records.size(); ++place) {
            if (place == most_records_in_a_row) {
                m_Page << "<li><p>" << records.size() - place << " more records</p></li>";
                break;
            }
            const Record& record = *records[place];
            const Record* exit = nullptr;
            if (record.kind == Record_Kind::Call && place + 1 < records.size()) {
                // A method that called no other takes one line.
                const Record& next = *records[place + 1];
                if (next.kind == Record_Kind::Return && next.method == record.method && next.time == record.time) {
                    exit = &next;
                    ++place;
                }
            }
            Write_Record(record, exit, last);
            last = record.time;
        }
        m_Page << "</ol>";
    }

    void Write_Record(const Record& record, const Record* exit, Local_Time last) {
        std::string classes = record.depth > 0 ? "d" + std::to_string(std::min<int>(record.depth, 8)) : "";
        if (record.severity >= Severity::Warning) {
            classes += record.severity == Severity::Error ? " x" : " y";
        }
        std::string html = classes.empty() ? "<li>" : "<li class=\"" + classes + "\">";
        if (record.time != No_Time) {
            html += "<i>" + (record.time != last ? Clock_Text(record.time) : std::string()) + "</i>";
        }
        html += "<p><b>" + Html_Text(record.method) + "</b>";
        const std::string text = Html_Text(record.text, longest_record);
        switch (record.kind) {
        case Record_Kind::Call:
            html += "(" + text + ")";
            break;
        case Record_Kind::Return:
            html += " = " + text;
            break;
        case Record_Kind::Message:
        case Record_Kind::Writer:
            html += (record.bug ? ": (internal error) " : ": ") + text;
            break;
        }
        if (exit != nullptr) {
            html += " = " + Html_Text(exit->text, longest_record);
        }
        if (last != No_Time && record.time != No_Time && record.time - last >= long_wait) {
            html += " <span class=\"wait\">after " + std::to_string(record.time - last) + " s</span>";
        }
        if (record.severity > Severity::Data) {
            if (const std::string meaning = Meaning_Of(record); !meaning.empty()) {
                html += "\n<em>" + Html_Text(meaning, longest_record) + "</em>";
            }
        }
        html += "</p></li>";
        m_Record_Bytes += html.size();
        m_Page << html;
    }

    void Write_Sources() {
        m_Page << "<footer><h2>Files read</h2><div class=\"table\"><table><thead><tr><th>File</th><th>Process</th>"
                  "<th>Program</th><th>What was traced</th></tr></thead><tbody>\n";
        constexpr std::size_t most_rows = 200;
        for (std::size_t index = 0; index < std::min(m_Trace.runs.size(), most_rows); ++index) {
            const Run& run = m_Trace.runs[index];
            m_Page << "<tr><td>" << Html_Text(m_Trace.files[run.file].name, longest_subject)
                   << (run.line > 2 ? ", from line " + std::to_string(run.line) : "") << "</td><td>"
                   << Html_Text(run.process) << "</td><td>" << Html_Text(run.program, longest_subject) << "</td><td>"
                   << Html_Text(run.level, longest_subject) << (run.has_times ? ", with time stamps" : "")
                   << "</td></tr>\n";
        }
        m_Page << "</tbody></table></div>";
        if (m_Trace.runs.size() > most_rows) {
            m_Page << "<p>" << m_Trace.runs.size() - most_rows << " more</p>";
        }
        m_Page << "</footer>\n";
    }

    const Trace& m_Trace;
    const Overview m_Overview;
    std::ostream& m_Page;
    std::size_t m_Calls_Listed = 0;
    std::size_t m_Record_Bytes = 0;
};

} // namespace

void Write_Html_Page(const Trace& trace, std::ostream& page) {
    Html_Page(trace, page).Write();
}

} // namespace QEL::FrontEnd::Trace_Reading
