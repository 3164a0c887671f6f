#include "tests/support/Certificates.h"

#include <openssl/ec.h>
#include <openssl/ocsp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace QEL::Tests {

namespace {

void Check(bool succeeded) {
    if (!succeeded) {
        throw std::runtime_error("cannot make a certificate");
    }
}

struct Free {
    void operator()(BIO* file) const { BIO_free(file); }
    void operator()(ASN1_TIME* time) const { ASN1_TIME_free(time); }
    void operator()(OCSP_BASICRESP* response) const { OCSP_BASICRESP_free(response); }
    void operator()(OCSP_RESPONSE* response) const { OCSP_RESPONSE_free(response); }
};
template <typename Type>
using Owned = std::unique_ptr<Type, Free>;

Owned<BIO> New_File(const std::filesystem::path& path) {
    Owned<BIO> file(BIO_new_file(path.c_str(), "wb"));
    Check(file != nullptr);
    return file;
}

Owned<ASN1_TIME> From_Now(std::chrono::hours hours) {
    return Owned<ASN1_TIME>(X509_gmtime_adj(nullptr, static_cast<long>(std::chrono::seconds(hours).count())));
}

void Add_Extension(X509* certificate, X509* issuer, int extension_id, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    auto* const extension = X509V3_EXT_conf_nid(nullptr, &context, extension_id, value.c_str());
    Check(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
    X509_EXTENSION_free(extension);
}

/// @param issuer null: itself
Identity Make_Identity(const Certificate_Options& options, bool is_authority, const Identity* issuer = nullptr) {
    Identity identity{decltype(Identity::certificate)(X509_new()), decltype(Identity::key)(EVP_EC_gen("P-256"))};
    auto* const made = identity.certificate.get();
    Check(identity.key != nullptr && made != nullptr && X509_set_version(made, X509_VERSION_3) == 1);
    ASN1_INTEGER_set(X509_get_serialNumber(made), static_cast<long>(std::random_device()() & 0x7FFFFFFF));
    X509_set1_notBefore(made, From_Now(options.begins).get());
    X509_set1_notAfter(made, From_Now(options.ends).get());
    X509_set_pubkey(made, identity.key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(options.name.c_str()), -1, -1, 0);
    const Identity& signer = issuer != nullptr ? *issuer : identity;
    X509_set_issuer_name(made, X509_get_subject_name(signer.certificate.get()));
    const auto add_extension = [&](int extension_id, const std::string& value) {
        Add_Extension(made, signer.certificate.get(), extension_id, value);
    };
    add_extension(NID_subject_key_identifier, "hash");
    add_extension(NID_basic_constraints, is_authority ? "critical,CA:TRUE" : "CA:FALSE");
    if (is_authority) {
        add_extension(NID_key_usage, "critical,keyCertSign,cRLSign,digitalSignature");
    } else {
        add_extension(NID_subject_alt_name, "DNS:" + options.name);
        if (!options.purpose.empty()) {
            add_extension(NID_ext_key_usage, options.purpose);
        }
    }
    Check(X509_sign(made, signer.key.get(), EVP_sha256()) != 0);
    return identity;
}

} // namespace

Certificate_Authority::Certificate_Authority(std::filesystem::path directory, const std::string& name,
                                             const Certificate_Authority* above)
    : m_Directory(std::move(directory)), m_Is_Root(above == nullptr),
      m_Identity(Make_Identity({.name = name}, true, m_Is_Root ? nullptr : &above->m_Identity)),
      m_File(Write(name, m_Identity).certificate) {}

Server_Certificate Certificate_Authority::Issue(const std::string& file_name,
                                                const Certificate_Options& options) const {
    const Identity issued = Make_Identity(options, false, &m_Identity);
    auto files = Write(file_name, issued, options.send_chain && !m_Is_Root ? m_Identity.certificate.get() : nullptr);
    if (options.staple != Staple::None) {
        files.staple = m_Directory / (file_name + ".staple");
        Write_Staple(files.staple, issued.certificate.get(), options.staple);
    }
    return files;
}

Server_Certificate Certificate_Authority::Self_Signed(const std::string& file_name,
                                                      const Certificate_Options& options) const {
    return Write(file_name, Make_Identity(options, false));
}

Server_Certificate Certificate_Authority::Write(const std::string& file_name, const Identity& identity,
                                                X509* chain) const {
    Server_Certificate files{m_Directory / (file_name + ".pem"), m_Directory / (file_name + ".key"), {}};
    const auto certificate_file = New_File(files.certificate);
    Check(PEM_write_bio_X509(certificate_file.get(), identity.certificate.get()) == 1);
    Check(chain == nullptr || PEM_write_bio_X509(certificate_file.get(), chain) == 1);
    const auto key_file = New_File(files.key);
    Check(PEM_write_bio_PrivateKey(key_file.get(), identity.key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
    return files;
}

void Certificate_Authority::Write_Staple(const std::filesystem::path& path, X509* certificate, Staple staple) const {
    using std::chrono::hours;
    const auto status = staple == Staple::Good ? V_OCSP_CERTSTATUS_GOOD : V_OCSP_CERTSTATUS_REVOKED;
    const hours issued(staple == Staple::Outdated ? -30 * 24 : -1);
    const auto this_update = From_Now(issued);
    const auto next_update = From_Now(issued + hours(7 * 24));
    const Owned<OCSP_BASICRESP> basic(OCSP_BASICRESP_new());
    auto* const id = OCSP_cert_to_id(nullptr, certificate, m_Identity.certificate.get());
    Check(id != nullptr && OCSP_basic_add1_status(basic.get(), id, status, OCSP_REVOKED_STATUS_KEYCOMPROMISE,
                                                  status == V_OCSP_CERTSTATUS_REVOKED ? this_update.get() : nullptr,
                                                  this_update.get(), next_update.get()) != nullptr);
    OCSP_CERTID_free(id);
    const Identity impostor = Make_Identity({.name = "impostor"}, true);
    const Identity& signer = staple == Staple::Forged ? impostor : m_Identity;
    Check(OCSP_basic_sign(basic.get(), signer.certificate.get(), signer.key.get(), EVP_sha256(), nullptr, 0) == 1);
    const Owned<OCSP_RESPONSE> response(OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic.get()));
    Check(i2d_OCSP_RESPONSE_bio(New_File(path).get(), response.get()) == 1);
}

} // namespace QEL::Tests
