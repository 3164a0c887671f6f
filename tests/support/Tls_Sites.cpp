#include "tests/support/Tls_Sites.h"

#include "platform/common/WinInet_Error.h"

#include <cstdlib>
#include <iterator>
#include <utility>
#include <vector>

namespace QEL::Tests {

namespace {

using std::chrono::hours;
using namespace FrontEnd::Platform;

const Tls_Case Cases[] = {
    {"Good", Tls_State::Good, 0, true, ""},
    {"GoodWithIntermediate", Tls_State::Good_With_Intermediate, 0, true, ""},
    {"StapledGood", Tls_State::Stapled_Good, 0, true, ""},
    {"StapledOutdated", Tls_State::Stapled_Outdated, 0, true, ""},
    {"StapledForged", Tls_State::Stapled_Forged, 0, true, ""},
    {"SelfSigned", Tls_State::Self_Signed, Error_Internet_Invalid_Authority, true, "does not trust"},
    {"WrongName", Tls_State::Wrong_Name, Error_Internet_Cert_Name_Invalid, true, "was issued for another name"},
    {"Expired", Tls_State::Expired, Error_Internet_Cert_Date_Invalid, true, "(certificate has expired)"},
    {"NotYetValid", Tls_State::Not_Yet_Valid, Error_Internet_Cert_Date_Invalid, true, "(certificate is not yet valid)"},
    {"UnknownAuthority", Tls_State::Unknown_Authority, Error_Internet_Invalid_Authority, true, "does not trust"},
    {"ChainIncomplete", Tls_State::Chain_Incomplete, Error_Internet_Invalid_Authority, true, "its chain is incomplete"},
    {"Revoked", Tls_State::Revoked, Error_Internet_Cert_Revoked, true, "has been revoked"},
    // Of several errors the one of the authority counts first, then the date, then the name.
    {"ExpiredAndSelfSigned", Tls_State::Expired_And_Self_Signed, Error_Internet_Invalid_Authority, true,
     "does not trust"},
    {"ExpiredAndWrongName", Tls_State::Expired_And_Wrong_Name, Error_Internet_Cert_Date_Invalid, true,
     "(certificate has expired)"},
    {"NotYetValidAndUnknownAuthority", Tls_State::Not_Yet_Valid_And_Unknown_Authority, Error_Internet_Invalid_Authority,
     true, "does not trust"},
    {"WrongNameAndSelfSigned", Tls_State::Wrong_Name_And_Self_Signed, Error_Internet_Invalid_Authority, true,
     "does not trust"},
    {"OldTlsVersion", Tls_State::Old_Tls_Version, Error_Internet_Security_Channel, false, "TLS 1.2 or newer"},
};

const Certificate_Options Past{.begins = hours(-24 * 60), .ends = hours(-24)};
const Certificate_Options Future{.begins = hours(24), .ends = hours(24 * 60)};
const Certificate_Options Wrong_Name{.name = "other.test"};

} // namespace

std::span<const Tls_Case> Tls_Cases() {
    return Cases;
}

Tls_Sites::Tls_Sites() {
    const Certificate_Authority trusted(m_Directory.Path(), "trusted authority");
    const Certificate_Authority unknown(m_Directory.Path(), "unknown authority");
    const auto intermediate = trusted.Issue_Authority("intermediate authority");

    // In the order of Tls_State.
    const Server_Certificate certificates[] = {
        trusted.Issue("good", {}),
        intermediate.Issue("good with intermediate", {}),
        trusted.Issue("stapled good", {.staple = Staple::Good}),
        trusted.Issue("stapled outdated", {.staple = Staple::Outdated}),
        trusted.Issue("stapled forged", {.staple = Staple::Forged}),
        trusted.Self_Signed("self-signed", {}),
        trusted.Issue("wrong name", Wrong_Name),
        trusted.Issue("expired", Past),
        trusted.Issue("not yet valid", Future),
        unknown.Issue("unknown", {}),
        intermediate.Issue("chain incomplete", {.send_chain = false}),
        trusted.Issue("revoked", {.staple = Staple::Revoked}),
        trusted.Self_Signed("expired and self-signed", Past),
        trusted.Issue("expired and wrong name", {.name = "other.test", .begins = Past.begins, .ends = Past.ends}),
        unknown.Issue("not yet valid and unknown", Future),
        trusted.Self_Signed("wrong name and self-signed", Wrong_Name),
        trusted.Issue("old", {}),
    };
    static_assert(std::size(certificates) == static_cast<std::size_t>(Tls_State::Count));

    std::vector<Nginx_Site> sites;
    for (std::size_t number = 0; number < std::size(certificates); ++number) {
        Nginx_Site site{{}, certificates[number]};
        if (number == static_cast<std::size_t>(Tls_State::Old_Tls_Version)) {
            site.directives = "ssl_protocols TLSv1.1; ssl_ciphers DEFAULT:@SECLEVEL=0;\n";
        }
        sites.push_back(site);
    }
    for (auto& site : sites) {
        for (std::size_t number = 0; number < sites.size(); ++number) {
            site.directives += "location = /to/" + std::to_string(number) + " { return 302 " +
                               sites[number].Url("/file.xml") + "; }\n";
        }
    }
    m_Server = std::make_unique<Nginx_Server>(std::move(sites));
    m_Server->Write("file.xml", "<landscape/>");
    setenv("SSL_CERT_FILE", trusted.File().c_str(), 1);
}

Tls_Sites::~Tls_Sites() {
    unsetenv("SSL_CERT_FILE");
}

} // namespace QEL::Tests
