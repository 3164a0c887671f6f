#pragma once

#include "tools/trace_reader/trace_reader.h"

#include <array>
#include <span>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Trace_Reading {

/// A message that the product can write.
struct Product_Message {
    Severity severity;       ///< as written, not as meant
    std::string_view format; ///< with %s, %d and %p where it has arguments
};

/// All of them, as the build takes them from the product's sources.
std::span<const Product_Message> Product_Messages();

/// What the records of a call say, before it is weighed up.
struct Call_Facts {
    std::string_view asked;      ///< as the host asked
    std::string_view normalised; ///< as the cache went on with it
    std::string_view result;     ///< what the call returned
    std::string_view remote_result;
    std::string_view copy_used;
    std::string_view copy_written;
    std::string_view new_date;
    std::string_view old_entry;
    std::string primary_cause;
    std::string secondary_cause;
    std::string check_cause; ///< why the remote side could not be asked
    std::uint32_t entries_read = 0;
    std::uint32_t entries_ignored = 0;
    bool returned = false;
    bool exit_is_incomplete = false; ///< it returned, but the result is lost among another thread's
    bool is_local = false;
    bool is_share = false;
    bool went_remote = false;
    bool has_downloaded = false;
    bool was_unknown = false;
    bool is_expired = false;
    bool has_no_date = false;
    bool check_failed = false;
    bool copy_was_missing = false;
    bool same_directory = false;
    bool ends_as_share = false; ///< the last record says that the request is for a share
};

/// How much a message explains of a failure.
enum class Weight : std::uint8_t {
    None,      ///< nothing: it accompanies others
    Secondary, ///< something, where nothing else does
    Primary
};

using Arguments = std::array<std::string_view, 4>;

/// A message and its arguments, which are views of its text.
struct Recognised_Message {
    const Product_Message* message = nullptr; ///< null: the product has no such message
    Arguments arguments;
    std::string_view cause; ///< the pattern of Cause()
    Weight weight = Weight::None;
    void (*take)(Call_Facts& facts, const Arguments& arguments) = nullptr; ///< notes what it says of its call; or null

    /// How serious it is by its words. Where lines have time stamps, they have no mark; and some
    /// messages are marked as errors so that they show at every level.
    Severity Meant_Severity() const;

    /// What it says, for people.
    std::string Cause() const;
};

Recognised_Message Recognise(std::string_view text);

/// What stands between two texts, the first one's first place and the second one's last behind it;
/// empty when they are not there.
std::string_view Between(std::string_view text, std::string_view before, std::string_view after);

} // namespace QEL::FrontEnd::Trace_Reading
