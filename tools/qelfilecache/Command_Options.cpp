#include "tools/qelfilecache/Command_Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>

namespace QEL::FrontEnd::Tool {

namespace {

CLI::Validator Whole_Number(const Number_Range& range) {
    const auto complaint = [range](const std::string& text) {
        int number = 0;
        const char* const end = text.data() + text.size();
        const auto parsed = std::from_chars(text.data(), end, number);
        const bool is_number = parsed.ec == std::errc() && parsed.ptr == end;
        const bool fits = is_number && number >= range.least && number <= range.most;
        return fits ? "" : "needs " + range.wanted + ", not '" + text + "'";
    };
    return CLI::Validator(complaint, "");
}

} // namespace

void Command_Options::Flag(const std::string& name, bool& target, const std::string& help) {
    m_Parser.add_flag(name, target, help);
}

void Command_Options::Force(bool& target) {
    Flag("--force", target,
         "Use the directory even if another program has it in use, it belongs to another\n"
         "user, or it holds copies without a list");
}

void Command_Options::Text(const std::string& name, const std::string& placeholder, std::optional<std::string>& target,
                           const std::string& help) {
    m_Parser
        .add_option_function<std::string>(
            name, [&target](const std::string& text) { target = text; }, help)
        ->take_last()
        ->type_name(placeholder);
}

void Command_Options::Number(const std::string& name, const std::string& placeholder, const Number_Range& range,
                             int& target, const std::string& help) {
    m_Parser.add_option(name, target, help)->check(Whole_Number(range))->take_last()->type_name(placeholder);
}

void Command_Options::Choice(const std::string& name, const std::vector<std::string>& words,
                             std::optional<std::string>& target, const std::string& help) {
    std::string all;
    for (const std::string& word : words) {
        all += (all.empty() ? "" : "|") + word;
    }
    const auto complaint = [words, all](const std::string& text) {
        return std::find(words.begin(), words.end(), text) != words.end() ? ""
                                                                          : "needs " + all + ", not '" + text + "'";
    };
    m_Parser
        .add_option_function<std::string>(
            name, [&target](const std::string& text) { target = text; }, help)
        ->check(CLI::Validator(complaint, ""))
        ->take_last()
        ->type_name(all);
}

void Command_Options::Optional_Operand(const std::string& name, std::optional<std::string>& target,
                                       const std::string& help) {
    m_Parser
        .add_option_function<std::string>(
            name, [&target](const std::string& text) { target = text; }, help)
        ->type_name("");
}

void Command_Options::Operand(const std::string& name, std::string& target, const std::string& help) {
    m_Parser.add_option(name, target, help)->required()->type_name("");
}

void Command_Options::Operands(const std::string& name, std::vector<std::string>& target, const std::string& help,
                               bool are_required) {
    // As many words as there are. "Extra arguments", the parser's own way to that, would take a word in square brackets
    // for a list and split it at its commas.
    constexpr int any_number = CLI::detail::expected_max_vector_size;
    m_Parser.add_option(name, target, help)
        ->required(are_required)
        ->type_name("")
        ->expected(any_number, any_number)
        ->allow_extra_args(false)
        ->take_all();
}

} // namespace QEL::FrontEnd::Tool
