#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace veltra {

template <auto Free>
struct OpenSslFree {
    template <typename T>
    void operator()(T* object) const noexcept
    {
        Free(object);
    }
};

struct OpenSslFreeX509s {
    void operator()(STACK_OF(X509) * stack) const noexcept { sk_X509_pop_free(stack, X509_free); }
};

using BioPointer = std::unique_ptr<BIO, OpenSslFree<&BIO_free>>;
using BioMethodPointer = std::unique_ptr<BIO_METHOD, OpenSslFree<&BIO_meth_free>>;
using CmsPointer = std::unique_ptr<CMS_ContentInfo, OpenSslFree<&CMS_ContentInfo_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSslFree<&EVP_PKEY_free>>;
using X509Pointer = std::unique_ptr<X509, OpenSslFree<&X509_free>>;
using X509StorePointer = std::unique_ptr<X509_STORE, OpenSslFree<&X509_STORE_free>>;
using X509StoreContextPointer = std::unique_ptr<X509_STORE_CTX, OpenSslFree<&X509_STORE_CTX_free>>;

/// Also owns the certificates.
using X509sPointer = std::unique_ptr<STACK_OF(X509), OpenSslFreeX509s>;

/// Encodes an object in DER with OpenSSL's function for its type; empty if it cannot be encoded.
template <auto Encode, typename T>
[[nodiscard]] std::vector<unsigned char> derOf(T* object)
{
    const int size = Encode(object, nullptr);
    std::vector<unsigned char> der(size > 0 ? static_cast<std::size_t>(size) : 0);
    unsigned char* end = der.data();
    if (!der.empty())
        Encode(object, &end);
    return der;
}

/// Removes the failures of this scope from the thread's error queue, where OpenSSL's next caller
/// would take them for its own.
class OpenSslErrorScope {
  public:
    OpenSslErrorScope() noexcept { ERR_set_mark(); }
    OpenSslErrorScope(const OpenSslErrorScope&) = delete;
    OpenSslErrorScope& operator=(const OpenSslErrorScope&) = delete;
    ~OpenSslErrorScope() { ERR_pop_to_mark(); }
};

} // namespace veltra
