#include "platform/windows/http/Server_Certificate.h"

#include "platform/windows/system/Wide_Text.h"
#include "util/Configuration_Source.h"

namespace QEL::FrontEnd::Platform {

namespace {

DWORD Wininet_Error(DWORD policy_error) {
    switch (static_cast<HRESULT>(policy_error)) {
    case S_OK:
        return ERROR_SUCCESS;
    case CERT_E_UNTRUSTEDROOT:
    case CERT_E_CHAINING:
        return ERROR_INTERNET_INVALID_CA;
    case CERT_E_CN_NO_MATCH:
        return ERROR_INTERNET_SEC_CERT_CN_INVALID;
    case CERT_E_EXPIRED:
        return ERROR_INTERNET_SEC_CERT_DATE_INVALID;
    case CERT_E_REVOKED:
    case CRYPT_E_REVOKED:
        return ERROR_INTERNET_SEC_CERT_REVOKED;
    case CERT_E_CRITICAL:
    case CERT_E_PURPOSE:
    case CERT_E_ROLE:
    case CERT_E_WRONG_USAGE:
    case TRUST_E_CERT_SIGNATURE:
        return ERROR_INTERNET_SEC_INVALID_CERT;
    default:
        return policy_error;
    }
}

} // namespace

DWORD Certificate_Fault(const Internet_Handle& request, const std::string& host) {
    Certificate_Chain chain;
    DWORD size = sizeof(PCCERT_CHAIN_CONTEXT);
    if (InternetQueryOptionA(request.Get(), INTERNET_OPTION_SERVER_CERT_CHAIN_CONTEXT, chain.Receive(), &size) == 0) {
        return ERROR_INTERNET_SEC_INVALID_CERT;
    }

    // A chain without any root is not always a fault to the policy.
    if ((chain.Get()->TrustStatus.dwErrorStatus & CERT_TRUST_IS_PARTIAL_CHAIN) != 0) {
        return ERROR_INTERNET_INVALID_CA;
    }

    std::wstring server_name = To_Wide(host);
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA server{};
    server.cbSize = sizeof(server);
    server.dwAuthType = AUTHTYPE_SERVER;
    server.pwszServerName = server_name.data();
    CERT_CHAIN_POLICY_PARA policy{};
    policy.cbSize = sizeof(policy);
    // WinInet has decided already whether a missing revocation list matters.
    policy.dwFlags = CERT_CHAIN_POLICY_IGNORE_ALL_REV_UNKNOWN_FLAGS;
    policy.pvExtraPolicyPara = &server;
    CERT_CHAIN_POLICY_STATUS status{};
    status.cbSize = sizeof(status);
    if (CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain.Get(), &policy, &status) == 0) {
        return ERROR_INTERNET_SEC_INVALID_CERT;
    }
    return Wininet_Error(status.dwError);
}

} // namespace QEL::FrontEnd::Platform

std::vector<QEL::FrontEnd::Util::Configured_Value> QEL::FrontEnd::Util::Configured_Authorities() {
    return {};
}
