#include "platform/signing/CertificateChain.h"

#include <openssl/x509v3.h>

namespace veltra {

namespace {

// Searching for issuers takes longer with more certificates, and these are untrusted input.
constexpr int mostCertificates = 10;
// Requires keys of at least 112 bits of strength, and no certificate signed with SHA-1.
constexpr int securityLevel = 2;

bool isMeantForCodeSigning(X509* certificate)
{
    // A certificate without the extension permits every usage.
    return (X509_get_extension_flags(certificate) & EXFLAG_XKUSAGE) &&
           (X509_get_extended_key_usage(certificate) & XKU_CODE_SIGN) &&
           (X509_get_key_usage(certificate) & KU_DIGITAL_SIGNATURE);
}

X509StorePointer storeOfAnchors(STACK_OF(X509) * certificates)
{
    X509StorePointer store{X509_STORE_new()};
    for (int i = 0; store && i < sk_X509_num(certificates); ++i) {
        X509* const certificate = sk_X509_value(certificates, i);
        if (X509_self_signed(certificate, 1) == 1 &&
            X509_STORE_add_cert(store.get(), certificate) != 1)
            return nullptr;
    }
    return store;
}

void setRules(X509_VERIFY_PARAM* rules)
{
    X509_VERIFY_PARAM_set_purpose(rules, X509_PURPOSE_ANY);
    X509_VERIFY_PARAM_set_depth(rules, mostCertificates);
    X509_VERIFY_PARAM_set_auth_level(rules, securityLevel);
    // No time stamp says when the code was signed, so expired certificates are accepted.
    X509_VERIFY_PARAM_set_flags(rules, X509_V_FLAG_NO_CHECK_TIME);
}

std::vector<SecCertificate> contentsOf(STACK_OF(X509) * chain)
{
    std::vector<SecCertificate> certificates;
    certificates.reserve(static_cast<std::size_t>(sk_X509_num(chain)));
    for (int i = 0; i < sk_X509_num(chain); ++i)
        certificates.emplace_back(derOf<&i2d_X509>(sk_X509_value(chain, i)));
    return certificates;
}

} // namespace

SecOutcome<std::vector<SecCertificate>> certificateChain(X509* signer,
                                                         STACK_OF(X509) * certificates)
{
    const OpenSslErrorScope errors;
    if (sk_X509_num(certificates) > mostCertificates)
        return {errSecCSSignatureUnsupported, {}};
    if (!isMeantForCodeSigning(signer))
        return {errSecCSCertificatesUnfit, {}};

    const X509StorePointer anchors = storeOfAnchors(certificates);
    const X509StoreContextPointer search{X509_STORE_CTX_new()};
    if (!anchors || !search ||
        X509_STORE_CTX_init(search.get(), anchors.get(), signer, certificates) != 1)
        return {errSecCSCertificatesInvalid, {}};

    setRules(X509_STORE_CTX_get0_param(search.get()));
    if (X509_verify_cert(search.get()) != 1)
        return {errSecCSCertificatesInvalid, {}};
    STACK_OF(X509)* const chain = X509_STORE_CTX_get0_chain(search.get());
    if (sk_X509_num(chain) != sk_X509_num(certificates))
        return {errSecCSCertificatesInvalid, {}};

    return {errSecSuccess, contentsOf(chain)};
}

} // namespace veltra
