#include "tests/faults/support/Hostile_Sites.h"

#include "platform/common/Http_Transfer.h"
#include "tests/support/Hostile_Servers.h"

namespace QEL {

namespace Tests {

namespace {

bool s_impatient_for_heads = false;
bool s_impatient_for_files = false;

} // namespace

const std::chrono::seconds Longest_Exchange{20}; // less than one time-out

const std::vector<Hostile_Site>& Hostile_Sites() {
    static const Hostile_Servers_At_Work servers;
    return servers.Sites();
}

void Be_Impatient_With(const Hostile_Site& site) {
    s_impatient_for_heads = site.head == Ending::Timed_Out;
    s_impatient_for_files = site.file == Ending::Timed_Out;
}

} // namespace Tests

namespace FrontEnd::Platform {

// The linker gives the calls of both clients to the first of these, and the real function the name of the
// second (option --wrap).
std::optional<Http_Failure>
Transfer_Impatiently(const Http_Request& request, Http_Response& response, const Http_Client& client) __asm__(
    "__wrap__ZN3QEL8FrontEnd8Platform8TransferERKNS1_12Http_RequestERNS1_13Http_ResponseERKNS1_11Http_ClientE");
std::optional<Http_Failure>
Transfer_As_Usual(const Http_Request& request, Http_Response& response, const Http_Client& client) __asm__(
    "__real__ZN3QEL8FrontEnd8Platform8TransferERKNS1_12Http_RequestERNS1_13Http_ResponseERKNS1_11Http_ClientE");

std::optional<Http_Failure> Transfer_Impatiently(const Http_Request& request, Http_Response& response,
                                                 const Http_Client& client) {
    Http_Request impatient = request;
    if (request.method == Http_Method::Head ? Tests::s_impatient_for_heads : Tests::s_impatient_for_files) {
        impatient.timeouts.receive = std::chrono::milliseconds(150);
    }
    return Transfer_As_Usual(impatient, response, client);
}

} // namespace FrontEnd::Platform

} // namespace QEL
