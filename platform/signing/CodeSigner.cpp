#include "platform/signing/CodeSigner.h"

#include "platform/base/Fd.h"
#include "platform/base/ReplacementFile.h"
#include "platform/base/WriteAll.h"
#include "platform/signing/AppendedSignature.h"
#include "platform/signing/CertificateChain.h"
#include "platform/signing/CodeSignature.h"
#include "platform/signing/FilePart.h"

#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <openssl/pem.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

Error badFile(std::string_view action, const std::string& path)
{
    return Error{std::make_error_code(std::errc::bad_message), action, path};
}

// OpenSSL would ask on the terminal, and wait.
int refusePassPhrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*data*/)
{
    return -1;
}

Result<BioPointer> openPem(const std::string& path)
{
    errno = 0;
    BioPointer file{BIO_new_file(path.c_str(), "r")};
    if (!file)
        return Error::last("read", path);
    return file;
}

Result<KeyPointer> readKey(const std::string& path)
{
    Result<BioPointer> file = openPem(path);
    if (!file)
        return file.error();
    KeyPointer key{PEM_read_bio_PrivateKey(file.value().get(), nullptr, refusePassPhrase, nullptr)};
    if (!key)
        return badFile("read a private key from", path);
    return key;
}

Result<X509sPointer> readCertificates(const std::string& path)
{
    Result<BioPointer> file = openPem(path);
    if (!file)
        return file.error();
    X509sPointer certificates{sk_X509_new_null()};
    while (X509Pointer certificate{
        PEM_read_bio_X509(file.value().get(), nullptr, refusePassPhrase, nullptr)})
        if (sk_X509_push(certificates.get(), certificate.get()) > 0)
            static_cast<void>(certificate.release());

    const unsigned long end = ERR_peek_last_error();
    const bool isAtEnd =
        ERR_GET_LIB(end) == ERR_LIB_PEM && ERR_GET_REASON(end) == PEM_R_NO_START_LINE;
    if (!isAtEnd || sk_X509_num(certificates.get()) == 0)
        return badFile("read certificates from", path);
    return certificates;
}

bool copyBytes(int from, int to, std::uint64_t size)
{
    off_t offset = 0;
    while (static_cast<std::uint64_t>(offset) < size) {
        const ssize_t count =
            ::sendfile(to, from, &offset, size - static_cast<std::uint64_t>(offset));
        if (count == 0)
            errno = ENODATA;
        if (count <= 0)
            return false;
    }
    return true;
}

// The part of a file to sign: everything except a signature that it already has.
SecOutcome<std::uint64_t> sizeToSign(int file, const struct stat& status)
{
    const auto present = AppendedSignature::read(file);
    if (present.status == errSecCSUnsigned)
        return {errSecSuccess, static_cast<std::uint64_t>(status.st_size)};
    return {present.status, present.object.signedSize};
}

} // namespace

Result<CodeSigner> CodeSigner::open(const std::string& keyPath, const std::string& certificatesPath)
{
    const OpenSslErrorScope errors;
    Result<KeyPointer> key = readKey(keyPath);
    if (!key)
        return key.error();
    Result<X509sPointer> certificates = readCertificates(certificatesPath);
    if (!certificates)
        return certificates.error();

    X509* const leaf = sk_X509_value(certificates.value().get(), 0);
    if (X509_check_private_key(leaf, key.value().get()) != 1)
        return badFile("find the owner of " + keyPath + " first in", certificatesPath);
    const OSStatus status = certificateChain(leaf, certificates.value().get()).status;
    if (status != errSecSuccess)
        return Error{codeSigningError(status), "sign with", certificatesPath};

    CodeSigner signer;
    X509_up_ref(leaf);
    signer.certificate_.reset(leaf);
    signer.key_ = std::move(key.value());
    signer.certificates_ = std::move(certificates.value());
    return signer;
}

Result<> CodeSigner::sign(const std::string& path) const
{
    std::error_code failure;
    const std::string target = std::filesystem::canonical(path, failure);
    if (failure)
        return Error{failure, "sign", path};
    const Fd old{::open(target.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    struct stat status {};
    if (!old || ::fstat(old.get(), &status) != 0)
        return Error::last("sign", path);
    const auto size = sizeToSign(old.get(), status);
    if (size.status != errSecSuccess)
        return Error{codeSigningError(size.status), "sign", path};

    auto signedFile = ReplacementFile::createBeside(target);
    if (!signedFile)
        return signedFile.error();
    const int file = signedFile.value().descriptor();
    if (!copyBytes(old.get(), file, size.object))
        return Error::last("copy", path);
    const auto signature = signatureOf(file, size.object);
    if (signature.status != errSecSuccess)
        return Error{codeSigningError(signature.status), "sign", path};
    if (!writeAll(file, AppendedSignature::ending(signature.object)))
        return Error::last("write the signature of", path);

    // Do not install a file whose signature would not be accepted.
    if (const OSStatus result = CodeSignature::check(file); result != errSecSuccess)
        return Error{codeSigningError(result), "sign", path};
    return signedFile.value().replace(status);
}

SecOutcome<std::vector<unsigned char>> CodeSigner::signatureOf(int file, std::uint64_t size) const
{
    const OpenSslErrorScope errors;
    constexpr unsigned flags = CMS_BINARY | CMS_DETACHED | CMS_NOSMIMECAP;
    FilePart code{file, size};
    const BioPointer reader = code.open();
    const CmsPointer signature{CMS_sign(nullptr, nullptr, nullptr, nullptr, flags | CMS_PARTIAL)};
    bool isMade = reader && signature &&
                  CMS_add1_signer(signature.get(), certificate_.get(), key_.get(), EVP_sha256(),
                                  flags | CMS_PARTIAL | CMS_NOCERTS);
    for (int i = 0; isMade && i < sk_X509_num(certificates_.get()); ++i)
        isMade = CMS_add1_cert(signature.get(), sk_X509_value(certificates_.get(), i)) == 1;
    isMade = isMade && CMS_final(signature.get(), reader.get(), nullptr, flags) == 1;
    if (code.hasFailed())
        return {errSecCSCodeUnreadable, {}};
    // This kind of key cannot sign with SHA-256.
    if (!isMade)
        return {errSecCSSignatureUnsupported, {}};
    return {errSecSuccess, derOf<&i2d_CMS_ContentInfo>(signature.get())};
}

} // namespace veltra
