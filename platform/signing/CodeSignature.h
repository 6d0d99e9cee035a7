#pragma once

#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/SecCertificate.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace veltra {

/// The signature of an executable, as read from the end of its file: a detached CMS SignedData in
/// DER, made by one signer with SHA-256, which contains the signer's whole chain of certificates
/// and no others. A value.
///
/// Parts that CMS does not sign may be changed as long as their meaning stays the same: version
/// numbers, the name that refers to the signer's certificate, the lists of digests and of
/// revocations.
///
/// Whatever a file contains, the result is a status, never a crash; errSecCSUnsigned if it contains
/// no signature.
class CodeSignature {
  public:
    /// Reads the signature at the end of an open executable. The executable's own bytes are not
    /// read.
    [[nodiscard]] static SecOutcome<std::optional<CodeSignature>> read(int executable);

    /// The number of signed bytes, counted from the start of the file.
    [[nodiscard]] std::uint64_t signedSize() const noexcept { return signedSize_; }

    /// The signer's certificate, then its issuers up to the anchor.
    [[nodiscard]] const std::vector<SecCertificate>& certificates() const noexcept
    {
        return certificates_;
    }

    /// Whether the first `signedSize()` bytes of the open executable are what was signed.
    [[nodiscard]] OSStatus verify(int executable) const;

    /// Reads the signature and verifies the executable with it.
    [[nodiscard]] static OSStatus check(int executable);

  private:
    CodeSignature() = default;

    std::uint64_t signedSize_ = 0;
    std::vector<unsigned char> der_;
    std::vector<SecCertificate> certificates_;
};

} // namespace veltra
