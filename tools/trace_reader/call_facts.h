#pragma once

#include "tools/trace_reader/Trace.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace QEL::FrontEnd::Tool::Trace_Reading {

/// What the records of a call tell, before it is weighed up.
struct Call_Facts {
    std::string_view asked;      ///< as the host asked
    std::string_view normalised; ///< as the cache went on with it
    std::string_view result;     ///< what the call returned
    std::string_view remote_result;
    std::string_view copy_used;
    std::string_view copy_written;
    std::string_view certificate_mode;
    std::string_view old_date;
    std::string_view new_date;
    std::string primary_cause;
    std::string secondary_cause;
    std::string check_cause; ///< why the remote side could not be asked
    std::uint32_t entries_read = 0;
    std::uint32_t entries_ignored = 0;
    bool is_request = false; ///< the call is one for a file
    bool failed_for_certain = false;
    bool returned = false;
    bool exit_is_incomplete = false; ///< it returned, but the result is lost among another thread's
    bool is_local = false;
    bool is_share = false;
    bool went_remote = false;
    bool has_downloaded = false;
    bool was_unknown = false;
    bool is_expired = false;
    bool is_changed = false;
    bool has_no_date = false;
    bool check_failed = false;
    bool copy_was_missing = false;
    bool second_attempt_worked = false;
    bool same_directory = false;
    bool ends_as_share = false; ///< the last record tells that the request is for a share
};

Call_Facts Find_Facts(const Trace& trace, const Call& call);

} // namespace QEL::FrontEnd::Tool::Trace_Reading
