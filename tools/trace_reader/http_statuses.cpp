#include "tools/trace_reader/http_statuses.h"

#include <algorithm>
#include <iterator>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

struct Meaning {
    int status;
    std::string_view text;
};

constexpr Meaning statuses[] = {
    {301, "moved"},
    {302, "moved"},
    {304, "not modified"},
    {307, "moved"},
    {308, "moved"},
    {400, "bad request"},
    {401, "a login is required"},
    {403, "forbidden"},
    {404, "not found"},
    {405, "method not allowed"},
    {407, "the proxy requires a login"},
    {410, "gone"},
    {429, "too many requests"},
    {500, "internal error of the server"},
    {502, "bad gateway"},
    {503, "the service is not available"},
    {504, "the gateway got no answer in time"},
};

} // namespace

std::string_view Meaning_Of_Status(int status) {
    const auto* const found = std::find_if(std::begin(statuses), std::end(statuses),
                                           [status](const Meaning& meaning) { return meaning.status == status; });
    return found == std::end(statuses) ? std::string_view() : found->text;
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
