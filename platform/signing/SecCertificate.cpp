#include "platform/signing/SecCertificate.h"

#include "platform/signing/OpenSsl.h"

#include <array>
#include <string_view>

#include <openssl/sha.h>

namespace veltra {

std::string SecCertificate::subject() const
{
    const OpenSslErrorScope errors;
    const unsigned char* bytes = der_.data();
    const X509Pointer certificate{d2i_X509(nullptr, &bytes, static_cast<long>(der_.size()))};
    const BioPointer line{BIO_new(BIO_s_mem())};
    // Characters outside ASCII are kept; control characters are escaped.
    constexpr unsigned long format = XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB;
    if (!certificate || !line ||
        X509_NAME_print_ex(line.get(), X509_get_subject_name(certificate.get()), 0, format) < 0)
        return {};

    char* text = nullptr;
    const long size = BIO_get_mem_data(line.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::string SecCertificate::sha256Fingerprint() const
{
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(der_.data(), der_.size(), digest.data());

    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned byte : digest)
        text.append({digits[byte >> 4], digits[byte & 15]});
    return text;
}

} // namespace veltra
