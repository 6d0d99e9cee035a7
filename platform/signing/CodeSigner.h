#pragma once

#include "platform/base/Error.h"
#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/OpenSsl.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace veltra {

/// Signs executables; see CodeSignature for what comes of it.
class CodeSigner {
  public:
    /// Reads a private key and the certificates of its owner, both in PEM: the owner's own first,
    /// then its issuers up to the one that signed itself. A key that asks for a pass phrase, one
    /// that is not the first certificate's, and certificates that a signature would not be
    /// accepted with, are errors.
    [[nodiscard]] static Result<CodeSigner> open(const std::string& keyPath,
                                                 const std::string& certificatesPath);

    /// Signs a file; a signature that it has is replaced.
    ///
    /// The file is replaced whole, by a new one of the same owner and permissions, when that is
    /// signed and on disk; on failure the old one stays. So a running program can be signed, a
    /// symbolic link stays one, further hard links keep the old file, and extended attributes are
    /// lost.
    [[nodiscard]] Result<> sign(const std::string& path) const;

  private:
    CodeSigner() = default;
    [[nodiscard]] SecOutcome<std::vector<unsigned char>> signatureOf(int file,
                                                                     std::uint64_t size) const;

    KeyPointer key_;
    X509Pointer certificate_;
    X509sPointer certificates_;
};

} // namespace veltra
