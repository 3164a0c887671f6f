#include "tools/trace_reader/records.h"

#include <chrono>

namespace QEL::FrontEnd::Trace_Reading {

namespace {

constexpr std::string_view call_label = "CALL";
constexpr std::string_view return_label = "return value:";

/// The last piece of an entry or exit: a parenthesis, behind a time stamp where there are any.
bool Take_Closing_Piece(std::string_view& text) {
    if (!text.ends_with(')')) {
        return false;
    }
    text.remove_suffix(1);
    Local_Time time = No_Time;
    constexpr std::size_t size = time_stamp_size + 1;
    if (text.size() >= size && Parse_Time_Stamp(text.substr(text.size() - size), time)) {
        text.remove_suffix(size);
    }
    return true;
}

/// What stands in the parentheses of an entry or exit. Its pieces are opening, content and closing.
std::string_view Content_Of_Parentheses(std::string_view text, bool& mixed) {
    text = Without_Time_Stamp(text);
    if (!text.starts_with('(')) {
        mixed = mixed || !text.empty();
        return Without_Blanks(text);
    }
    text.remove_prefix(1);
    text = Without_Time_Stamp(text);
    // Usually one line; behind it there may be what belongs to no record.
    auto first_line = text.substr(0, text.find('\n'));
    if (Take_Closing_Piece(first_line)) {
        return first_line;
    }
    text = Without_Blanks(text);
    if (!Take_Closing_Piece(text)) {
        mixed = true;
    }
    return Without_Blanks(text);
}

} // namespace

bool Parse_Time_Stamp(std::string_view text, Local_Time& time) {
    constexpr std::string_view shape = "(00.00.00 00:00:00) ";
    int numbers[6] = {};
    std::size_t digits_read = 0;
    for (std::size_t place = 0; place < shape.size(); ++place) {
        const char character = place < text.size() ? text[place] : '\0';
        const bool is_digit = character >= '0' && character <= '9';
        if (shape[place] == '0' ? !is_digit : character != shape[place]) {
            return false;
        }
        if (is_digit) {
            int& number = numbers[digits_read++ / 2];
            number = number * 10 + (character - '0');
        }
    }
    const auto [day, month, year, hour, minute, second] = numbers;
    const auto date = std::chrono::year{2000 + year} / month / day;
    if (!date.ok()) {
        return false;
    }
    const auto days = std::chrono::sys_days{date}.time_since_epoch().count();
    time = ((Local_Time{days} * 24 + hour) * 60 + minute) * 60 + second;
    return true;
}

std::string_view Without_Time_Stamp(std::string_view text) {
    Local_Time time = No_Time;
    return Parse_Time_Stamp(text, time) ? text.substr(time_stamp_size + 1) : text;
}

bool Is_Call_Or_Return(std::string_view text) {
    return text.starts_with(call_label) || text.starts_with(return_label);
}

void Interpret_Text(std::string_view raw, Record& record) {
    if (raw.starts_with(call_label)) {
        record.kind = Record_Kind::Call;
        raw.remove_prefix(call_label.size());
        // An entry without arguments ends with its line.
        record.text = raw.starts_with('\n') ? std::string_view() : Content_Of_Parentheses(raw, record.incomplete);
    } else if (raw.starts_with(return_label)) {
        record.kind = Record_Kind::Return;
        record.text = Content_Of_Parentheses(raw.substr(return_label.size()), record.incomplete);
    } else {
        record.kind = Record_Kind::Message;
        record.text = Without_Blanks(raw);
    }
}

} // namespace QEL::FrontEnd::Trace_Reading
