#include "tools/trace_reader/trace_reader.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

/// A call that never ends must not cost more than this for each file.
constexpr std::size_t longest_text = std::size_t{16} << 20;

/// How often a file is found unchanged before nothing more is expected of a request for one that is left in place: a
/// second, as a share may be slow.
constexpr unsigned int long_still = 4;

std::size_t Position_Of(const Record& record, const File& file) {
    const char* const begin = record.method.empty() ? record.text.data() : record.method.data();
    return static_cast<std::size_t>(begin - file.content.data());
}

} // namespace

std::string Trace_Follower::Add(const std::string& name, const std::string& lines) {
    auto file = std::ranges::find_if(m_Files, [&name](const auto& each) { return each.name == name && !each.is_over; });
    if (file == m_Files.end()) {
        file = m_Files.emplace(file);
        file->name = name;
    }
    file->text += lines;
    m_Has_News = m_Has_News || !lines.empty() || file->times_still < long_still;
    file->times_still = lines.empty() ? file->times_still + 1 : 0;
    const bool is_begin = file->dropped == 0 && file->text.size() == lines.size() && !lines.empty();
    return is_begin ? Trace_Reader().Add(name, lines) : std::string();
}

void Trace_Follower::Begin_Again(const std::string& name) {
    for (Followed_File& file : m_Files) {
        m_Has_News = m_Has_News || file.name == name;
        file.is_over = file.is_over || file.name == name;
    }
}

Trace Trace_Follower::Take() {
    Trace_Reader reader;
    if (!std::exchange(m_Has_News, false)) {
        return reader.Finish();
    }
    std::vector<Followed_File*> files; // as the trace counts them
    for (Followed_File& file : m_Files) {
        if (reader.Add(file.name, file.text, file.first_line).empty()) {
            files.push_back(&file);
        } else {
            Drop(file, file.text, file.text.size());
        }
    }
    Trace trace = reader.Finish();
    const auto file_of = [&trace](const Thread_Records& of) { return trace.runs[of.run].file; };
    std::vector<std::uint32_t> last_runs(files.size());
    for (std::uint32_t run = 0; run < trace.runs.size(); ++run) {
        last_runs[trace.runs[run].file] = run;
    }
    std::vector<const Record*> last_records(files.size());
    for (const Record& record : trace.records) {
        last_records[trace.runs[record.run].file] = &record;
    }
    std::vector<std::size_t> settled(files.size()); // up to where
    std::ranges::transform(trace.files, settled.begin(), [](const File& file) { return file.content.size(); });
    // True when it has not been given before.
    const auto is_new = [&](std::uint32_t file, const Record& first, Outcome outcome) {
        return files[file]->shown.emplace(files[file]->dropped + Position_Of(first, trace.files[file]), outcome).second;
    };
    const auto leave = [&](std::uint32_t file, const Record& first) {
        settled[file] = std::min(settled[file], Position_Of(first, trace.files[file]));
    };

    std::vector<Call> ended;
    for (Call& call : trace.calls) {
        const auto file = file_of(call);
        const bool is_under_way = call.at_end && call.run == last_runs[file] && !files[file]->is_over;
        if (is_under_way) {
            leave(file, *call.records.front());
        }
        const bool may_have_ended = call.outcome == Outcome::Left_In_Place && files[file]->times_still >= long_still;
        if ((!is_under_way || may_have_ended) && is_new(file, *call.records.front(), call.outcome)) {
            call.number = call.number == 0 ? 0 : ++m_Last_Number;
            ended.push_back(std::move(call));
        }
    }
    trace.calls = std::move(ended);
    for (Thread_Records& thread : trace.outside) {
        const auto file = file_of(thread);
        std::erase_if(thread.records, [&](const Record* record) {
            // A message may have several lines.
            if (record == last_records[file] && files[file]->times_still == 0 && !files[file]->is_over) {
                leave(file, *record);
                return true;
            }
            return !is_new(file, *record, Outcome::Done);
        });
    }
    std::erase_if(trace.outside, [](const Thread_Records& thread) { return thread.records.empty(); });
    for (std::size_t file = 0; file < files.size(); ++file) {
        Drop(*files[file], trace.files[file].content, settled[file]);
    }
    std::erase_if(m_Files, [](const Followed_File& file) { return file.is_over; });
    return trace;
}

void Trace_Follower::Drop(Followed_File& file, const std::string& text, std::size_t settled) {
    const auto line_end = settled == 0 ? std::string::npos : text.rfind('\n', settled - 1);
    auto size = line_end == std::string::npos ? 0 : line_end + 1;
    size = text.size() - size > longest_text ? text.size() : size;
    file.first_line +=
        static_cast<std::uint32_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size), '\n'));
    file.dropped += size;
    file.shown.erase(file.shown.begin(), file.shown.lower_bound({file.dropped, Outcome{}}));
    file.text = text.substr(size);
}

} // namespace QEL::FrontEnd::Trace_Reading
