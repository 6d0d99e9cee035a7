#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/signing/OpenSsl.h"
#include "platform/signing/SecCertificate.h"

#include <ctime>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

namespace veltra {

/// A key with its certificate.
struct Identity {
    KeyPointer key;
    X509Pointer certificate;
};

struct CertificateOptions {
    bool isIssuer = false;
    std::string extendedKeyUsage = "codeSigning";
    std::string keyUsage = "digitalSignature";
    /// When the certificate expires, counted from now.
    std::time_t secondsLeft = 3600;
};

inline const auto issuing =
    CertificateOptions{.isIssuer = true, .extendedKeyUsage = "", .keyUsage = "keyCertSign"};

inline void check(bool isDone, const char* what)
{
    if (!isDone)
        throw std::runtime_error{what};
}

inline void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value)
{
    if (value.empty())
        return;
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    check(extension && X509_add_ext(certificate, extension, -1) == 1, "extension");
    X509_EXTENSION_free(extension);
}

/// A new key with a certificate by `issuer`, or a self-signed one if that is null.
inline Identity makeIdentity(const std::string& name, const Identity* issuer,
                             const CertificateOptions& options,
                             KeyPointer key = KeyPointer{EVP_EC_gen("P-256")})
{
    X509Pointer certificate{X509_new()};
    std::int64_t serial = 0;
    RAND_bytes(reinterpret_cast<unsigned char*>(&serial), 7);
    X509* const raw = certificate.get();
    X509* const signer = issuer ? issuer->certificate.get() : raw;
    X509_set_version(raw, X509_VERSION_3);
    ASN1_INTEGER_set_int64(X509_get_serialNumber(raw), serial);
    X509_gmtime_adj(X509_getm_notBefore(raw), -7200);
    X509_gmtime_adj(X509_getm_notAfter(raw), options.secondsLeft);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(raw), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(raw, X509_get_subject_name(signer));
    X509_set_pubkey(raw, key.get());
    addExtension(raw, signer, NID_basic_constraints,
                 options.isIssuer ? "critical,CA:TRUE" : "critical,CA:FALSE");
    addExtension(raw, signer, NID_key_usage, options.keyUsage);
    addExtension(raw, signer, NID_ext_key_usage, options.extendedKeyUsage);
    check(X509_sign(raw, issuer ? issuer->key.get() : key.get(), EVP_sha256()) > 0, "certificate");
    return {std::move(key), std::move(certificate)};
}

/// The same key and certificate once more.
inline Identity copyOf(const Identity& identity)
{
    EVP_PKEY_up_ref(identity.key.get());
    X509_up_ref(identity.certificate.get());
    return {KeyPointer{identity.key.get()}, X509Pointer{identity.certificate.get()}};
}

inline std::string pemOf(X509* certificate)
{
    const BioPointer pem{BIO_new(BIO_s_mem())};
    PEM_write_bio_X509(pem.get(), certificate);
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(pem.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

inline std::string pemOf(EVP_PKEY* key)
{
    const BioPointer pem{BIO_new(BIO_s_mem())};
    PEM_write_bio_PrivateKey(pem.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(pem.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

inline SecCertificate contentOf(X509* certificate)
{
    return SecCertificate{derOf<&i2d_X509>(certificate)};
}

/// A signer, the issuer of its certificate, and the anchor.
struct SigningChain {
    Identity anchor = makeIdentity("Anchor", nullptr, issuing);
    Identity issuer = makeIdentity("Issuer", &anchor, issuing);
    Identity signer = makeIdentity("Signer", &issuer, {});

    /// In order, the signer's own first.
    [[nodiscard]] std::vector<SecCertificate> certificates() const
    {
        return {contentOf(signer.certificate.get()), contentOf(issuer.certificate.get()),
                contentOf(anchor.certificate.get())};
    }

    /// Writes `key.pem` and `chain.pem`.
    void write(const TemporaryFolder& folder) const
    {
        folder.write("key.pem", pemOf(signer.key.get()));
        folder.write("chain.pem", pemOf(signer.certificate.get()) +
                                      pemOf(issuer.certificate.get()) +
                                      pemOf(anchor.certificate.get()));
    }
};

/// A chain that is made once, for tests that need only one.
inline const SigningChain& sharedChain()
{
    static const SigningChain chain;
    return chain;
}

} // namespace veltra
