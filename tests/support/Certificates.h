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

/// A certificate and its key.
struct Identity {
    struct Free {
        void operator()(X509* certificate) const { X509_free(certificate); }
        void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    };
    std::unique_ptr<X509, Free> certificate;
    std::unique_ptr<EVP_PKEY, Free> key;
};

/// A certificate authority of the tests, with keys made on the spot.
class Certificate_Authority {
public:
    /// Its files, and those of what it issues, go to `directory`.
    /// @param above null: a root authority
    Certificate_Authority(std::filesystem::path directory, const std::string& name,
                          const Certificate_Authority* above = nullptr);

    Server_Certificate Issue(const std::string& file_name, const Certificate_Options& options) const;

    /// A server certificate that no authority stands behind.
    Server_Certificate Self_Signed(const std::string& file_name, const Certificate_Options& options) const;

    /// PEM file with the authority's certificate, for SSL_CERT_FILE.
    const std::filesystem::path& File() const { return m_File; }

private:
    Server_Certificate Write(const std::string& file_name, const Identity& identity, X509* chain = nullptr) const;
    void Write_Staple(const std::filesystem::path& path, X509* certificate, Staple staple) const;

    const std::filesystem::path m_Directory;
    const bool m_Is_Root;
    const Identity m_Identity;
    const std::filesystem::path m_File;
};

} // namespace QEL::Tests
