#include "tools/trace_reader/call_names.h"

#include <array>
#include <cstddef>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

struct Outcome_Names {
    std::string_view label;
    std::string_view identifier;
};
constexpr std::array<Outcome_Names, Outcome_Count> outcome_names = {{
    {"local file", "local"},
    {"fresh copy", "fresh"},
    {"unchanged", "unchanged"},
    {"downloaded", "downloaded"},
    {"copied", "copied"},
    {"replaced", "replaced"},
    {"old copy", "old_copy"},
    {"left in place", "left_in_place"},
    {"done", "done"},
    {"failed", "failed"},
    {"cut off", "cut_off"},
    {"not told", "not_told"},
}};

} // namespace

std::string_view Outcome_Label(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].label;
}

std::string_view Outcome_Identifier(Outcome outcome) {
    return outcome_names[static_cast<std::size_t>(outcome)].identifier;
}

std::string_view Operation_Label(Operation operation) {
    switch (operation) {
    case Operation::Set_Cache_Directory:
        return "Set_Cache_Directory";
    case Operation::Clear:
        return "Clear";
    case Operation::Purge:
        return "Purge_Cache_Folder";
    case Operation::Start:
        return "Instance";
    case Operation::Fragment:
        return "(beginning missing)";
    case Operation::Get:
        break;
    }
    return {};
}

std::string_view Operation_Identifier(Operation operation) {
    switch (operation) {
    case Operation::Get:
        return "get";
    case Operation::Set_Cache_Directory:
        return "set_cache_directory";
    case Operation::Clear:
        return "clear";
    case Operation::Purge:
        return "purge";
    case Operation::Start:
        return "instance";
    case Operation::Fragment:
        break;
    }
    return "fragment";
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
