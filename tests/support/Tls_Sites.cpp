#include "tests/support/Tls_Sites.h"

#include <cstdlib>
#include <iterator>
#include <utility>
#include <vector>

namespace QEL::Tests {

namespace {

using std::chrono::hours;

/// Options of a certificate whose validity lies in the past.
Certificate_Options Past(Certificate_Options options = {}) {
    options.begins = hours(-24 * 60);
    options.ends = hours(-24);
    return options;
}

Certificate_Options Future(Certificate_Options options = {}) {
    options.begins = hours(24);
    options.ends = hours(24 * 60);
    return options;
}

Certificate_Options Wrong_Name(Certificate_Options options = {}) {
    options.name = "other.test";
    return options;
}

Certificate_Options With(Staple staple) {
    Certificate_Options options;
    options.staple = staple;
    return options;
}

} // namespace

Tls_Sites::Tls_Sites() {
    const Certificate_Authority trusted(m_Directory.Path(), "trusted authority");
    const Certificate_Authority unknown(m_Directory.Path(), "unknown authority");
    const auto intermediate = trusted.Issue_Authority("intermediate authority");
    Certificate_Options without_chain;
    without_chain.send_chain = false;

    // In the order of Tls_State.
    const Server_Certificate certificates[] = {
        trusted.Issue("good", {}),
        intermediate.Issue("good with intermediate", {}),
        trusted.Issue("stapled good", With(Staple::Good)),
        trusted.Issue("stapled outdated", With(Staple::Outdated)),
        trusted.Issue("stapled forged", With(Staple::Forged)),
        trusted.Self_Signed("self-signed", {}),
        trusted.Issue("wrong name", Wrong_Name()),
        trusted.Issue("expired", Past()),
        trusted.Issue("not yet valid", Future()),
        unknown.Issue("unknown", {}),
        intermediate.Issue("chain incomplete", without_chain),
        trusted.Issue("revoked", With(Staple::Revoked)),
        trusted.Self_Signed("expired and self-signed", Past()),
        trusted.Issue("expired and wrong name", Past(Wrong_Name())),
        unknown.Issue("not yet valid and unknown", Future()),
        trusted.Self_Signed("wrong name and self-signed", Wrong_Name()),
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
