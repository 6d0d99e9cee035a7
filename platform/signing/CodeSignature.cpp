#include "platform/signing/CodeSignature.h"

#include "platform/signing/AppendedSignature.h"
#include "platform/signing/CertificateChain.h"
#include "platform/signing/FilePart.h"
#include "platform/signing/OpenSsl.h"

#include <utility>

#include <openssl/objects.h>

namespace veltra {

namespace {

// The parser also accepts encodings that are not DER, and ignores bytes after the end. Only one of
// all the possible encodings of a signature is accepted here.
CmsPointer parse(const std::vector<unsigned char>& der)
{
    const unsigned char* bytes = der.data();
    CmsPointer signature{d2i_CMS_ContentInfo(nullptr, &bytes, static_cast<long>(der.size()))};
    if (!signature || derOf<&i2d_CMS_ContentInfo>(signature.get()) != der)
        return nullptr;
    return signature;
}

bool isSha256(const X509_ALGOR* digest, const X509_ALGOR* signature)
{
    const int signatureKind = OBJ_obj2nid(signature->algorithm);
    int digestOfSignature = NID_undef;
    const bool hasDigest = OBJ_find_sigid_algs(signatureKind, &digestOfSignature, nullptr) == 1;
    return OBJ_obj2nid(digest->algorithm) == NID_sha256 &&
           (signatureKind == NID_rsaEncryption || (hasDigest && digestOfSignature == NID_sha256));
}

// Signed attributes are required: without them, the attributes of another signature could be passed
// off as the signed content.
bool isAccepted(CMS_SignerInfo* signer)
{
    EVP_PKEY* key = nullptr;
    X509_ALGOR* digest = nullptr;
    X509_ALGOR* signature = nullptr;
    CMS_SignerInfo_get0_algs(signer, &key, nullptr, &digest, &signature);
    return key && (EVP_PKEY_is_a(key, "EC") || EVP_PKEY_is_a(key, "RSA")) &&
           isSha256(digest, signature) && CMS_signed_get_attr_count(signer) > 0 &&
           CMS_unsigned_get_attr_count(signer) <= 0;
}

bool isDetachedSignedData(CMS_ContentInfo* signature)
{
    return OBJ_obj2nid(CMS_get0_type(signature)) == NID_pkcs7_signed &&
           OBJ_obj2nid(CMS_get0_eContentType(signature)) == NID_pkcs7_data &&
           CMS_is_detached(signature) == 1;
}

// A signature lists its certificates in the order of their encodings, so the signer's entry has to
// say who signed.
SecOutcome<std::vector<SecCertificate>> acceptedCertificates(CMS_ContentInfo* signature)
{
    if (!isDetachedSignedData(signature))
        return {errSecCSSignatureUnsupported, {}};
    STACK_OF(CMS_SignerInfo)* const signers = CMS_get0_SignerInfos(signature);
    if (sk_CMS_SignerInfo_num(signers) != 1)
        return {errSecCSSignatureUnsupported, {}};
    const X509sPointer certificates{CMS_get1_certs(signature)};
    if (!certificates || CMS_set1_signers_certs(signature, nullptr, 0) != 1)
        return {errSecCSCertificatesInvalid, {}};

    CMS_SignerInfo* const signer = sk_CMS_SignerInfo_value(signers, 0);
    X509* leaf = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, &leaf, nullptr, nullptr);
    if (!isAccepted(signer))
        return {errSecCSSignatureUnsupported, {}};
    return certificateChain(leaf, certificates.get());
}

} // namespace

SecOutcome<std::optional<CodeSignature>> CodeSignature::read(int executable)
{
    const OpenSslErrorScope errors;
    SecOutcome<AppendedSignature> appended = AppendedSignature::read(executable);
    if (appended.status != errSecSuccess)
        return {appended.status, {}};
    const CmsPointer parsed = parse(appended.object.der);
    if (!parsed)
        return {errSecCSSignatureMalformed, {}};
    auto certificates = acceptedCertificates(parsed.get());
    if (certificates.status != errSecSuccess)
        return {certificates.status, {}};

    CodeSignature signature;
    signature.signedSize_ = appended.object.signedSize;
    signature.der_ = std::move(appended.object.der);
    signature.certificates_ = std::move(certificates.object);
    return {errSecSuccess, std::move(signature)};
}

OSStatus CodeSignature::verify(int executable) const
{
    const OpenSslErrorScope errors;
    FilePart code{executable, signedSize_};
    const BioPointer reader = code.open();
    const CmsPointer signature = parse(der_);
    // The chain was checked when the signature was read.
    const bool fits = signature && reader &&
                      CMS_verify(signature.get(), nullptr, nullptr, reader.get(), nullptr,
                                 CMS_BINARY | CMS_DETACHED | CMS_NO_SIGNER_CERT_VERIFY) == 1;
    if (code.hasFailed())
        return errSecCSCodeUnreadable;
    return fits ? errSecSuccess : errSecCSSignatureFailed;
}

OSStatus CodeSignature::check(int executable)
{
    const auto signature = read(executable);
    return signature.object ? signature.object->verify(executable) : signature.status;
}

} // namespace veltra
