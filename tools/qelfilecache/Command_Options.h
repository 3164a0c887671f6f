#pragma once

#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace QEL::FrontEnd::Tool {

/// The values that a whole-number option takes, and how they are named in its complaint.
struct Number_Range {
    std::string wanted; ///< such as "a number from 0 to 5"
    int least = std::numeric_limits<int>::min();
    int most = std::numeric_limits<int>::max();
};

/// Where a command declares its options and operands, each with the variable that receives it. The
/// variables outlive the parsing. Commands see this and not the parser, which is slow to compile.
class Command_Options {
public:
    explicit Command_Options(CLI::App& parser) : m_Parser(parser) {}

    /// `name` alone sets `target`.
    void Flag(const std::string& name, bool& target, const std::string& help);

    /// --force of the commands that change the cache.
    void Force(bool& target);

    /// `name` takes a text, shown as `placeholder`; of several the last one counts.
    void Text(const std::string& name, const std::string& placeholder, std::optional<std::string>& target,
              const std::string& help);

    /// `name` takes a whole number, shown as `placeholder`; of several the last one counts.
    void Number(const std::string& name, const std::string& placeholder, const Number_Range& range, int& target,
                const std::string& help);

    /// `name` takes one of some words; of several the last one counts.
    void Choice(const std::string& name, const std::vector<std::string>& words, std::optional<std::string>& target,
                const std::string& help);

    /// One word without an option's name, which may be missing.
    void Optional_Operand(const std::string& name, std::optional<std::string>& target, const std::string& help);

    /// One word without an option's name. It is required.
    void Operand(const std::string& name, std::string& target, const std::string& help);

    /// The same for one word or more; for any number, where none are required.
    void Operands(const std::string& name, std::vector<std::string>& target, const std::string& help,
                  bool are_required = true);

private:
    CLI::App& m_Parser;
};

} // namespace QEL::FrontEnd::Tool
