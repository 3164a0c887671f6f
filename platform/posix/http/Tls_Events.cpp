#include "platform/posix/http/Tls_Events.h"

#include <memory>

#include <openssl/ocsp.h>

namespace QEL::FrontEnd::Platform {

namespace {

/// The place of the flag among what programs keep with a context.
int Flag_Index() {
    static const int s_index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return s_index;
}

bool& Flag(const SSL* connection) {
    return *static_cast<bool*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), Flag_Index()));
}

void Note_Close_Notify(const SSL* connection, int event, int alert) {
    constexpr int description = 0xFF; // the other byte is the alert's level
    if (event == SSL_CB_READ_ALERT && (alert & description) == SSL3_AD_CLOSE_NOTIFY) {
        Flag(connection) = true;
    }
}

void Note_End_Of_Handshake(const SSL* connection, int event, int /*result*/) {
    if (event == SSL_CB_HANDSHAKE_DONE) {
        Flag(connection) = false;
    }
}

// How far the clocks of this machine and of the authority may be apart, in seconds.
constexpr long Clock_Tolerance = 300;

struct Ocsp_Deleter {
    void operator()(OCSP_RESPONSE* response) const { OCSP_RESPONSE_free(response); }
    void operator()(OCSP_BASICRESP* response) const { OCSP_BASICRESP_free(response); }
    void operator()(OCSP_CERTID* id) const { OCSP_CERTID_free(id); }
};
template <typename Type>
using Ocsp_Ptr = std::unique_ptr<Type, Ocsp_Deleter>;

/// The signed part of the status that the server has sent; null when it is not one.
Ocsp_Ptr<OCSP_BASICRESP> Received_Status(SSL* connection) {
    const unsigned char* bytes = nullptr;
    const auto size = SSL_get_tlsext_status_ocsp_resp(connection, &bytes);
    if (bytes == nullptr || size <= 0) {
        return nullptr;
    }
    const Ocsp_Ptr<OCSP_RESPONSE> response(d2i_OCSP_RESPONSE(nullptr, &bytes, size));
    if (response == nullptr || OCSP_response_status(response.get()) != OCSP_RESPONSE_STATUS_SUCCESSFUL) {
        return nullptr;
    }
    return Ocsp_Ptr<OCSP_BASICRESP>(OCSP_response_get1_basic(response.get()));
}

/// True when the status was signed by the authority, is up to date, and says that the server's
/// certificate is revoked.
bool Says_Revoked(SSL* connection, OCSP_BASICRESP* status) {
    auto* const chain = SSL_get0_verified_chain(connection);
    auto* const authorities = SSL_CTX_get_cert_store(SSL_get_SSL_CTX(connection));
    if (sk_X509_num(chain) < 2 || OCSP_basic_verify(status, chain, authorities, 0) <= 0) {
        return false;
    }
    const Ocsp_Ptr<OCSP_CERTID> certificate(OCSP_cert_to_id(nullptr, sk_X509_value(chain, 0), sk_X509_value(chain, 1)));
    int verdict = V_OCSP_CERTSTATUS_UNKNOWN;
    ASN1_GENERALIZEDTIME* this_update = nullptr;
    ASN1_GENERALIZEDTIME* next_update = nullptr;
    return certificate != nullptr &&
           OCSP_resp_find_status(status, certificate.get(), &verdict, nullptr, nullptr, &this_update, &next_update) ==
               1 &&
           OCSP_check_validity(this_update, next_update, Clock_Tolerance, -1) == 1 &&
           verdict == V_OCSP_CERTSTATUS_REVOKED;
}

/// Called within the handshake, after the chain has been found valid. 0 ends the handshake.
int Check_Status(SSL* connection, void* is_revoked) {
    const auto status = Received_Status(connection);
    if (status == nullptr || !Says_Revoked(connection, status.get())) {
        return 1;
    }
    *static_cast<bool*>(is_revoked) = true;
    return 0;
}

} // namespace

void Watch_Close_Notify(SSL_CTX* context, bool& is_closed) {
    if (SSL_CTX_set_ex_data(context, Flag_Index(), &is_closed) == 1) {
        SSL_CTX_set_info_callback(context, &Note_Close_Notify);
    }
}

void Watch_Handshake(SSL_CTX* context, bool& is_under_way) {
    if (SSL_CTX_set_ex_data(context, Flag_Index(), &is_under_way) == 1) {
        is_under_way = true;
        SSL_CTX_set_info_callback(context, &Note_End_Of_Handshake);
    }
}

void Refuse_Revoked_Certificates(SSL_CTX* context, bool& is_revoked) {
    SSL_CTX_set_tlsext_status_type(context, TLSEXT_STATUSTYPE_ocsp);
    SSL_CTX_set_tlsext_status_cb(context, &Check_Status);
    SSL_CTX_set_tlsext_status_arg(context, &is_revoked);
}

} // namespace QEL::FrontEnd::Platform
