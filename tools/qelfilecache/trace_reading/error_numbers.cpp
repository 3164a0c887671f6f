#include "tools/qelfilecache/trace_reading/error_numbers.h"

#include <algorithm>
#include <span>

namespace QEL::FrontEnd::Tool::Trace_Reading {

namespace {

struct Meaning {
    int number;
    std::string_view text;
};

constexpr Meaning errors[] = {
    {2, "the file does not exist"},
    {3, "the directory does not exist"},
    {5, "access is denied"},
    {32, "another program has the file open"},
    {53, "the share's server was not found"},
    {64, "the share's server ended the connection"},
    {65, "access to the share is denied"},
    {67, "the server has no share of this name"},
    {80, "the file exists already"},
    {112, "the disk is full"},
    {121, "the share's server did not answer in time"},
    {123, "the name is not valid"},
    {1003, "the operation could not be completed"},
    {1326, "the user name or password is wrong"},
    {12002, "the server did not answer in time"},
    {12005, "the address is not valid"},
    {12007, "the server's name cannot be resolved"},
    {12029, "the server cannot be connected to"},
    {12030, "the server ended the connection"},
    {12031, "the connection was reset"},
    {12037, "the certificate has expired or is not valid yet"},
    {12038, "the certificate is for another server"},
    {12044, "the server asks for a client certificate"},
    {12045, "the certificate's authority is not trusted"},
    {12055, "the certificate has errors"},
    {12057, "it cannot be checked whether the certificate is revoked"},
    {12152, "the server's answer is not valid HTTP"},
    {12157, "no secure connection came about"},
    {12169, "the certificate is not valid"},
    {12170, "the certificate has been revoked"},
    {12175, "no secure connection came about"},
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

std::string_view Find(std::span<const Meaning> meanings, int number) {
    const auto found = std::lower_bound(meanings.begin(), meanings.end(), number,
                                        [](const Meaning& meaning, int wanted) { return meaning.number < wanted; });
    return found != meanings.end() && found->number == number ? found->text : std::string_view();
}

} // namespace

std::string_view Meaning_Of_Error(int number) {
    return Find(errors, number);
}

std::string_view Meaning_Of_Status(int status) {
    return Find(statuses, status);
}

} // namespace QEL::FrontEnd::Tool::Trace_Reading
