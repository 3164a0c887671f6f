#include "tests/support/Tls_Sites.h"

#include "platform/common/WinInet_Error.h"

namespace QEL::Tests {

namespace {

using std::chrono::hours;
using namespace FrontEnd::Platform;

constexpr auto No_Authority = Error_Internet_Invalid_Authority;
constexpr auto Date = Error_Internet_Cert_Date_Invalid;
const Certificate_Options Past{.begins = hours(-24 * 60), .ends = hours(-24)};
const Certificate_Options Future{.begins = hours(24), .ends = hours(24 * 60)};
const Certificate_Options Wrong_Name{.name = "other.test"};
const Certificate_Options Past_Of_Wrong_Name{.name = "other.test", .begins = Past.begins, .ends = Past.ends};

const Tls_Case Cases[] = {
    {"Good", 0, ""},
    {"GoodWithIntermediate", 0, "", Issuer::Below_Trusted},
    {"StapledGood", 0, "", Issuer::Trusted, {.staple = Staple::Good}},
    {"StapledOutdated", 0, "", Issuer::Trusted, {.staple = Staple::Outdated}}, // "revoked", but of a month ago
    {"StapledForged", 0, "", Issuer::Trusted, {.staple = Staple::Forged}},     // "revoked", but signed by another
    {"SelfSigned", No_Authority, "does not trust", Issuer::Itself},
    {"WrongName", Error_Internet_Cert_Name_Invalid, "was issued for another name", Issuer::Trusted, Wrong_Name},
    {"Expired", Date, "(certificate has expired)", Issuer::Trusted, Past},
    {"NotYetValid", Date, "(certificate is not yet valid)", Issuer::Trusted, Future},
    {"UnknownAuthority", No_Authority, "does not trust", Issuer::Unknown},
    {"ChainIncomplete", No_Authority, "its chain is incomplete", Issuer::Below_Trusted, {.send_chain = false}},
    {"Revoked", Error_Internet_Cert_Revoked, "has been revoked", Issuer::Trusted, {.staple = Staple::Revoked}},
    {"OfAClient",
     Error_Internet_Invalid_Certificate,
     "(unsuitable certificate purpose)",
     Issuer::Trusted,
     {.purpose = "clientAuth"}},
    // Of several errors the one of the authority counts first, then the date, then the name.
    {"ExpiredAndSelfSigned", No_Authority, "does not trust", Issuer::Itself, Past},
    {"ExpiredAndWrongName", Date, "(certificate has expired)", Issuer::Trusted, Past_Of_Wrong_Name},
    {"NotYetValidAndUnknownAuthority", No_Authority, "does not trust", Issuer::Unknown, Future},
    {"WrongNameAndSelfSigned", No_Authority, "does not trust", Issuer::Itself, Wrong_Name},
    {"OldTlsVersion", Error_Internet_Security_Channel, "TLS 1.2 or newer", Issuer::Trusted, {}, true},
};

} // namespace

std::span<const Tls_Case> Tls_Cases() {
    return Cases;
}

Tls_Sites::Tls_Sites() {
    const Certificate_Authority trusted(m_Directory.Path(), "trusted authority");
    const Certificate_Authority unknown(m_Directory.Path(), "unknown authority");
    const Certificate_Authority intermediate(m_Directory.Path(), "intermediate authority", &trusted);
    std::vector<Nginx_Site> sites;
    for (const auto& [name, error, cause, issuer, certificate, speaks_old_tls] : Cases) {
        const auto& authority = issuer == Issuer::Unknown         ? unknown
                                : issuer == Issuer::Below_Trusted ? intermediate
                                                                  : trusted;
        sites.push_back(
            {speaks_old_tls ? "ssl_protocols TLSv1.1; ssl_ciphers DEFAULT:@SECLEVEL=0;\n" : "",
             issuer == Issuer::Itself ? authority.Self_Signed(name, certificate) : authority.Issue(name, certificate)});
    }
    std::string redirects;
    for (std::size_t number = 0; number < sites.size(); ++number) {
        redirects += std::string("location = /to/") + Cases[number].name + " { return 302 " +
                     sites[number].Url("/file.xml") + "; }\n";
    }
    for (auto& site : sites) {
        site.directives += redirects;
    }
    m_Server = std::make_unique<Nginx_Server>(std::move(sites));
    m_Server->Write("file.xml", "<landscape/>");
    setenv("SSL_CERT_FILE", trusted.File().c_str(), 1);
}

Tls_Sites::~Tls_Sites() {
    unsetenv("SSL_CERT_FILE");
}

std::string Tls_Sites::Url(std::string_view name, const std::string& path) const {
    const auto* const found = std::ranges::find(Cases, name, &Tls_Case::name);
    return m_Server->Url(path, static_cast<std::size_t>(found - Cases)); // which refuses an unknown one
}

} // namespace QEL::Tests
