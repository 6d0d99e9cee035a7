#pragma once

#include "platform/signing/OpenSsl.h"
#include "platform/signing/tests/SigningChain.h"

#include <functional>
#include <string>
#include <vector>

#include <openssl/cms.h>

namespace veltra {

/// How to make a signature, which need not be one that we would make.
struct CraftOptions {
    const Identity* signer = &sharedChain().signer;
    std::vector<X509*> certificates = {sharedChain().signer.certificate.get(),
                                       sharedChain().issuer.certificate.get(),
                                       sharedChain().anchor.certificate.get()};
    const EVP_MD* digest = EVP_sha256();
    unsigned flags = CMS_BINARY | CMS_DETACHED | CMS_NOSMIMECAP;
    /// Called before the signature is made, and after it.
    std::function<void(CMS_ContentInfo*)> before = [](CMS_ContentInfo*) {};
    std::function<void(CMS_ContentInfo*)> after = [](CMS_ContentInfo*) {};
};

/// A signature over `content`, in DER.
inline std::string craftSignature(const std::string& content, const CraftOptions& options)
{
    const BioPointer reader{BIO_new_mem_buf(content.data(), static_cast<int>(content.size()))};
    const CmsPointer signature{
        CMS_sign(nullptr, nullptr, nullptr, nullptr, options.flags | CMS_PARTIAL)};
    check(CMS_add1_signer(signature.get(), options.signer->certificate.get(),
                          options.signer->key.get(), options.digest,
                          options.flags | CMS_PARTIAL | CMS_NOCERTS),
          "signer");
    for (X509* const certificate : options.certificates)
        check(CMS_add1_cert(signature.get(), certificate) == 1, "certificate");
    options.before(signature.get());
    check(CMS_final(signature.get(), reader.get(), nullptr, options.flags) == 1, "signature");
    options.after(signature.get());

    const auto der = derOf<&i2d_CMS_ContentInfo>(signature.get());
    return {der.begin(), der.end()};
}

} // namespace veltra
