#include "platform/posix/CertificateCheck.h"

#include "platform/Internet.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

namespace zu::platform {
namespace {

// Where a context keeps the flags its verification callback reads.
int FlagsIndex()
{
    static const int s_nIndex = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return s_nIndex;
}

constexpr uint32_t LENIENT_CHAIN_FLAGS = INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA |
                                         INET_SECURITY_FLAG_IGNORE_CERT_DATE_INVALID |
                                         INET_SECURITY_FLAG_IGNORE_WRONG_USAGE;

}  // namespace

void CCertificateCheck::Apply(CURL* pEasy, uint32_t nSecurityFlags)
{
    curl_easy_setopt(pEasy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(pEasy, CURLOPT_SSL_VERIFYHOST,
                     (nSecurityFlags & INET_SECURITY_FLAG_IGNORE_CERT_CN_INVALID) ? 0L : 2L);
    const uintptr_t nChainFlags = nSecurityFlags & LENIENT_CHAIN_FLAGS;
    curl_easy_setopt(pEasy, CURLOPT_SSL_CTX_FUNCTION, nChainFlags ? &CCertificateCheck::OnContext : nullptr);
    curl_easy_setopt(pEasy, CURLOPT_SSL_CTX_DATA, reinterpret_cast<void*>(nChainFlags));
}

CURLcode CCertificateCheck::OnContext(CURL*, void* pContext, void* pFlags)
{
    auto* pSslContext = static_cast<SSL_CTX*>(pContext);
    if (!SSL_CTX_set_ex_data(pSslContext, FlagsIndex(), pFlags))
        return CURLE_SSL_CONNECT_ERROR;
    SSL_CTX_set_verify(pSslContext, SSL_VERIFY_PEER, &CCertificateCheck::OnVerify);
    return CURLE_OK;
}

// Runs for every certificate of the chain and every failure found in it. A failure the flags let
// pass is taken back (the error reset), so that it neither ends the handshake nor shows in the
// result read afterwards; the check goes on and any other failure still refuses.
int CCertificateCheck::OnVerify(int bPreverified, X509_STORE_CTX* pStore)
{
    if (bPreverified)
        return 1;
    auto* pSsl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(pStore, SSL_get_ex_data_X509_STORE_CTX_idx()));
    const auto nFlags = reinterpret_cast<uintptr_t>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(pSsl), FlagsIndex()));
    const int nError = X509_STORE_CTX_get_error(pStore);
    const bool bDate = nError == X509_V_ERR_CERT_HAS_EXPIRED || nError == X509_V_ERR_CERT_NOT_YET_VALID;
    const bool bPasses = ((nFlags & INET_SECURITY_FLAG_IGNORE_UNKNOWN_CA) && IsUnknownAuthority(nError)) ||
                         ((nFlags & INET_SECURITY_FLAG_IGNORE_CERT_DATE_INVALID) && bDate) ||
                         ((nFlags & INET_SECURITY_FLAG_IGNORE_WRONG_USAGE) && nError == X509_V_ERR_INVALID_PURPOSE);
    if (!bPasses)
        return 0;
    X509_STORE_CTX_set_error(pStore, X509_V_OK);
    return 1;
}

bool CCertificateCheck::IsUnknownAuthority(int nVerifyResult)
{
    switch (nVerifyResult) {
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_CERT_UNTRUSTED:
        return true;
    default:
        return false;
    }
}

uint32_t CCertificateCheck::ErrorOf(long nVerifyResult)
{
    if (IsUnknownAuthority(static_cast<int>(nVerifyResult)))
        return INET_ERROR_INVALID_CA;
    switch (nVerifyResult) {
    case X509_V_OK:
    // curl checks the name itself before it reads the chain's result, which then keeps the
    // "unspecified" it started with.
    case X509_V_ERR_UNSPECIFIED:
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        return INET_ERROR_SEC_CERT_CN_INVALID;
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return INET_ERROR_SEC_CERT_DATE_INVALID;
    case X509_V_ERR_CERT_REVOKED:
        return INET_ERROR_SEC_CERT_REVOKED;
    default:
        // A bad signature, a malformed or misused certificate: refused for what it is.
        return INET_ERROR_SEC_INVALID_CERT;
    }
}

}  // namespace zu::platform
