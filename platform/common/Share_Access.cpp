#include "platform/common/Share_Access.h"

#include "platform/common/Separators.h"
#include "util/Ascii.h"

#include <algorithm>
#include <iterator>

namespace QEL::FrontEnd::Platform {

namespace {

/// The codes with which the systems say that they do not reach a server, sorted.
constexpr std::uint32_t network_errors[] = {51,   53,   54,   55,   58,   59,   64,   121,  1203, 1222, 1225,
                                            1231, 1232, 1233, 1234, 1236, 1256, 1265, 1311, 1460, 10060};
static_assert(std::ranges::is_sorted(network_errors));

/// The codes with which a server says that it has no such file, path or share, or hands it out to somebody else.
constexpr std::uint32_t refusals[] = {2, 3, 5, 32, 65, 67, 86, 1326, 1331, 1907, 1909};
static_assert(std::ranges::is_sorted(refusals));

} // namespace

std::string Share_Server(std::string_view path) {
    constexpr std::string_view separators = "\\/";
    if (path.size() < 2 || separators.find(path[0]) == std::string_view::npos || path[1] != path[0]) {
        return {};
    }
    const auto begin = std::min(path.find_first_not_of(separators), path.size());
    std::string server(path.substr(begin, With_Separators_Alone(path).find_first_of(separators, begin) - begin));
    std::ranges::transform(server, server.begin(), Util::To_Ascii_Lower);
    return server == "?" || server == "." ? std::string() : server; // of Windows, the machine itself
}

Attempt Share_Attempt(const Share_Outcome& outcome) {
    if (outcome.error == 0 || outcome.has_moved_data || std::ranges::binary_search(refusals, outcome.error)) {
        return Attempt::Responded;
    }
    return std::ranges::binary_search(network_errors, outcome.error) ? Attempt::Server_Unreached
                                                                     : Attempt::Failed_Otherwise;
}

} // namespace QEL::FrontEnd::Platform
