#pragma once

#include "platform/base/Error.h"
#include "platform/signing/CodeSigningServices.h"
#include "platform/signing/OpenSsl.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace veltra {

/// Signs executables; see CodeSignature for the format.
class CodeSigner {
  public:
    /// Reads a private key and its owner's certificates, both in PEM: the owner's own first, then
    /// its issuers up to the self-signed one. It is an error if the key needs a pass phrase or does
    /// not belong to the first certificate, or if a signature with these certificates would not be
    /// accepted.
    [[nodiscard]] static Result<CodeSigner> open(const std::string& keyPath,
                                                 const std::string& certificatesPath);

    /// Signs a file; replaces a signature that it already has.
    ///
    /// The file is replaced as a whole by a new file with the same owner and permissions, once that
    /// is signed and on disk; on failure the old file stays. So a running program can be signed, a
    /// symbolic link stays a symbolic link, other hard links keep the old file, and extended
    /// attributes are lost.
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
