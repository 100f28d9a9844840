// CCertificateCheck: how a request checks the server's certificate, after the security flags a
// caller set on it. The check is always made; a flag lets exactly one kind of failure pass (an
// authority nobody vouches for, a date out of range, a use the certificate was not issued for, a
// name that does not match) and every other failure still refuses the certificate, as the system's
// own stack does. Turning the chain check off would let an expired or forged certificate through
// along with the unknown authority.
#pragma once

#include <curl/curl.h>
#include <openssl/ossl_typ.h>

#include <cstdint>

namespace zu::platform {

class CCertificateCheck {
public:
    static void Apply(CURL* pEasy, uint32_t nSecurityFlags);

    // The error number for a certificate the chain check refused with nVerifyResult (an X509_V_
    // code); X509_V_OK there means the chain was fine and the name was not.
    static uint32_t ErrorOf(long nVerifyResult);

private:
    static CURLcode OnContext(CURL* pEasy, void* pContext, void* pFlags);
    static int OnVerify(int bPreverified, X509_STORE_CTX* pStore);
    static bool IsUnknownAuthority(int nVerifyResult);
};

}  // namespace zu::platform
