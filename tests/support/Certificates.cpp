#include "tests/support/Certificates.h"
#include "util/Non_Copyable.h"

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

class Output_File : private FrontEnd::Util::Non_Copyable {
public:
    explicit Output_File(const std::filesystem::path& path) : m_File(std::fopen(path.c_str(), "wb")) {
        Check(m_File != nullptr);
    }
    ~Output_File() { std::fclose(m_File); }

    operator std::FILE*() const { return m_File; }

private:
    std::FILE* m_File;
};

void Add_Extension(X509* certificate, X509* issuer, int extension_id, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    auto* const extension = X509V3_EXT_conf_nid(nullptr, &context, extension_id, value.c_str());
    Check(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
    X509_EXTENSION_free(extension);
}

} // namespace

Certificate_Authority::Key Certificate_Authority::Make_Key() {
    Key key(EVP_EC_gen("P-256"));
    Check(key != nullptr);
    return key;
}

Certificate_Authority::Certificate Certificate_Authority::Make_Certificate(const Certificate_Options& options,
                                                                           bool is_authority, EVP_PKEY* key,
                                                                           X509* issuer, EVP_PKEY* issuer_key) {
    Certificate certificate(X509_new());
    auto* const made = certificate.get();
    Check(made != nullptr && X509_set_version(made, X509_VERSION_3) == 1);
    ASN1_INTEGER_set(X509_get_serialNumber(made), static_cast<long>(std::random_device()() & 0x7FFFFFFF));
    const auto seconds = [](std::chrono::hours hours) {
        return static_cast<long>(std::chrono::seconds(hours).count());
    };
    X509_gmtime_adj(X509_getm_notBefore(made), seconds(options.begins));
    X509_gmtime_adj(X509_getm_notAfter(made), seconds(options.ends));
    X509_set_pubkey(made, key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(options.name.c_str()), -1, -1, 0);
    auto* const signer = issuer != nullptr ? issuer : made;
    X509_set_issuer_name(made, X509_get_subject_name(signer));
    Add_Extension(made, signer, NID_subject_key_identifier, "hash");
    Add_Extension(made, signer, NID_basic_constraints, is_authority ? "critical,CA:TRUE" : "CA:FALSE");
    if (is_authority) {
        Add_Extension(made, signer, NID_key_usage, "critical,keyCertSign,cRLSign,digitalSignature");
    } else {
        Add_Extension(made, signer, NID_subject_alt_name, "DNS:" + options.name);
        if (!options.purpose.empty()) {
            Add_Extension(made, signer, NID_ext_key_usage, options.purpose);
        }
    }
    Check(X509_sign(made, issuer_key, EVP_sha256()) != 0);
    return certificate;
}

Certificate_Authority::Certificate_Authority(std::filesystem::path directory, const std::string& name)
    : m_Directory(std::move(directory)), m_Key(Make_Key()) {
    Certificate_Options options;
    options.name = name;
    m_Certificate = Make_Certificate(options, true, m_Key.get(), nullptr, m_Key.get());
    m_File = Write(name, m_Certificate.get(), m_Key.get(), false).certificate;
}

Certificate_Authority Certificate_Authority::Issue_Authority(const std::string& name) const {
    Certificate_Authority issued;
    issued.m_Directory = m_Directory;
    issued.m_Key = Make_Key();
    issued.m_Is_Root = false;
    Certificate_Options options;
    options.name = name;
    issued.m_Certificate = Make_Certificate(options, true, issued.m_Key.get(), m_Certificate.get(), m_Key.get());
    issued.m_File = Write(name, issued.m_Certificate.get(), issued.m_Key.get(), false).certificate;
    return issued;
}

Server_Certificate Certificate_Authority::Issue(const std::string& file_name,
                                                const Certificate_Options& options) const {
    const auto key = Make_Key();
    const auto certificate = Make_Certificate(options, false, key.get(), m_Certificate.get(), m_Key.get());
    auto files = Write(file_name, certificate.get(), key.get(), options.send_chain && !m_Is_Root);
    if (options.staple != Staple::None) {
        files.staple = m_Directory / (file_name + ".staple");
        Write_Staple(files, certificate.get(), options.staple);
    }
    return files;
}

Server_Certificate Certificate_Authority::Self_Signed(const std::string& file_name,
                                                      const Certificate_Options& options) const {
    const auto key = Make_Key();
    const auto certificate = Make_Certificate(options, false, key.get(), nullptr, key.get());
    return Write(file_name, certificate.get(), key.get(), false);
}

Server_Certificate Certificate_Authority::Write(const std::string& file_name, X509* certificate, EVP_PKEY* key,
                                                bool with_chain) const {
    Server_Certificate files{m_Directory / (file_name + ".pem"), m_Directory / (file_name + ".key"), {}};
    const Output_File certificate_file(files.certificate);
    Check(PEM_write_X509(certificate_file, certificate) == 1);
    Check(!with_chain || PEM_write_X509(certificate_file, m_Certificate.get()) == 1);
    const Output_File key_file(files.key);
    Check(PEM_write_PrivateKey(key_file, key, nullptr, nullptr, 0, nullptr, nullptr) == 1);
    return files;
}

void Certificate_Authority::Write_Staple(const Server_Certificate& files, X509* certificate, Staple staple) const {
    const auto status = staple == Staple::Good ? V_OCSP_CERTSTATUS_GOOD : V_OCSP_CERTSTATUS_REVOKED;
    const long issued = staple == Staple::Outdated ? -30L * 24 * 3600 : -3600;
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> this_update(X509_gmtime_adj(nullptr, issued),
                                                                            &ASN1_TIME_free);
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> next_update(
        X509_gmtime_adj(nullptr, issued + 7L * 24 * 3600), &ASN1_TIME_free);
    const std::unique_ptr<OCSP_BASICRESP, decltype(&OCSP_BASICRESP_free)> basic(OCSP_BASICRESP_new(),
                                                                                &OCSP_BASICRESP_free);
    auto* const id = OCSP_cert_to_id(nullptr, certificate, m_Certificate.get());
    Check(id != nullptr && OCSP_basic_add1_status(basic.get(), id, status, OCSP_REVOKED_STATUS_KEYCOMPROMISE,
                                                  status == V_OCSP_CERTSTATUS_REVOKED ? this_update.get() : nullptr,
                                                  this_update.get(), next_update.get()) != nullptr);
    OCSP_CERTID_free(id);
    const auto foreign_key = Make_Key();
    if (staple == Staple::Forged) {
        Certificate_Options impostor;
        impostor.name = "impostor";
        const auto foreign = Make_Certificate(impostor, true, foreign_key.get(), nullptr, foreign_key.get());
        Check(OCSP_basic_sign(basic.get(), foreign.get(), foreign_key.get(), EVP_sha256(), nullptr, 0) == 1);
    } else {
        Check(OCSP_basic_sign(basic.get(), m_Certificate.get(), m_Key.get(), EVP_sha256(), nullptr, 0) == 1);
    }
    const std::unique_ptr<OCSP_RESPONSE, decltype(&OCSP_RESPONSE_free)> response(
        OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, basic.get()), &OCSP_RESPONSE_free);
    unsigned char* bytes = nullptr;
    const auto size = i2d_OCSP_RESPONSE(response.get(), &bytes);
    Check(size > 0);
    {
        const Output_File file(files.staple);
        Check(std::fwrite(bytes, 1, static_cast<std::size_t>(size), file) == static_cast<std::size_t>(size));
    }
    OPENSSL_free(bytes);
}

} // namespace QEL::Tests
