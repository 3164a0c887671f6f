#pragma once

#include "tools/trace_reader/Trace.h"

#include <array>
#include <span>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// How much a message explains of a failure.
enum class Weight : std::uint8_t {
    None,      ///< nothing: it accompanies others
    Secondary, ///< something, where nothing else does
    Primary,
    Final ///< all: the call failed with it
};

/// An error, warning or note of the cache.
struct Known_Message {
    std::string_view format; ///< with %s and %d where it has arguments
    Severity severity;       ///< as written, not as meant
    Weight weight;
    std::string_view cause; ///< for people, with {0}, {1} for the arguments
};

/// Every error, warning and note that the cache can write.
std::span<const Known_Message> Known_Messages();

/// A message and its arguments. Views of the message's text.
struct Recognised_Message {
    const Known_Message* message = nullptr; ///< null: none that is known
    std::array<std::string_view, 4> arguments;
};

Recognised_Message Recognise(std::string_view text);

/// How serious a message is by its words. Where lines have time stamps, they have no mark; and some
/// messages are marked as errors so that they show at every level.
Severity Meant_Severity(const Recognised_Message& recognised);

/// What a recognised message says, for people.
std::string Cause(const Recognised_Message& recognised);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
