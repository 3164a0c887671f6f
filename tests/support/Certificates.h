#pragma once

#include "tests/support/Standard_Library.h"

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace QEL::Tests {

/// What a server needs for TLS: PEM files with its certificate (and what of the chain it sends) and
/// its key, and an OCSP response (DER) to staple when it sends one.
struct Server_Certificate {
    std::filesystem::path certificate;
    std::filesystem::path key;
    std::filesystem::path staple;
};

enum class Staple { None, Good, Revoked, Outdated, Forged };

struct Certificate_Options {
    std::string name = "good.test"; ///< the one host that it is for
    std::chrono::hours begins{-24}; ///< from now
    std::chrono::hours ends{24 * 30};
    bool send_chain = true; ///< whether the server sends the intermediate authority's certificate
    Staple staple = Staple::None;
    std::string purpose{}; ///< such as "clientAuth"; empty: any
};

/// A certificate authority of the tests, with keys made on the spot.
class Certificate_Authority {
public:
    /// A root authority. Its files, and those of what it issues, go to `directory`.
    Certificate_Authority(std::filesystem::path directory, const std::string& name);

    /// An authority below this one.
    Certificate_Authority Issue_Authority(const std::string& name) const;

    Server_Certificate Issue(const std::string& file_name, const Certificate_Options& options) const;

    /// A server certificate that no authority stands behind.
    Server_Certificate Self_Signed(const std::string& file_name, const Certificate_Options& options) const;

    /// PEM file with the authority's certificate, for SSL_CERT_FILE.
    const std::filesystem::path& File() const { return m_File; }

private:
    struct Free {
        void operator()(X509* certificate) const { X509_free(certificate); }
        void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    };
    using Certificate = std::unique_ptr<X509, Free>;
    using Key = std::unique_ptr<EVP_PKEY, Free>;

    Certificate_Authority() = default;

    static Key Make_Key();
    static Certificate Make_Certificate(const Certificate_Options& options, bool is_authority, EVP_PKEY* key,
                                        X509* issuer, EVP_PKEY* issuer_key);
    Server_Certificate Write(const std::string& file_name, X509* certificate, EVP_PKEY* key, bool with_chain) const;
    void Write_Staple(const Server_Certificate& files, X509* certificate, Staple staple) const;

    std::filesystem::path m_Directory;
    std::filesystem::path m_File;
    bool m_Is_Root = true;
    Certificate m_Certificate;
    Key m_Key;
};

} // namespace QEL::Tests
