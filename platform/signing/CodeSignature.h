#pragma once

#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/SecCertificate.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace veltra {

/// The signature of an executable, as it was read from the executable's end: a CMS SignedData in
/// DER that does not hold what it signs, made by one signer with SHA-256, and that holds the
/// signer's whole chain of certificates and no others. A value.
///
/// What CMS does not sign may be changed within what still means the same: version numbers, the
/// name that refers to the signer's certificate, the lists of digests and of revocations.
///
/// Whatever a file holds, it makes a status, never a crash; errSecCSUnsigned when it holds no
/// signature.
class CodeSignature {
  public:
    /// Reads the signature that an open executable ends with. The executable's own bytes are not
    /// read.
    [[nodiscard]] static SecOutcome<std::optional<CodeSignature>> read(int executable);

    /// How many bytes, from the first one on, are signed.
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
