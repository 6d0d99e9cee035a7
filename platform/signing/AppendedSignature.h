#pragma once

#include "platform/signing/CodeSigningServices.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace veltra {

/// The end of a signed file: the signature in DER, its length in eight bytes (least significant
/// first), and eight magic bytes that mark a signed file. All bytes before it are signed. A value.
struct AppendedSignature {
    /// Larger files are rejected.
    static constexpr std::uint64_t largestFile = std::uint64_t{256} << 20;
    static constexpr std::uint64_t largestDer = std::uint64_t{1} << 20;

    /// The number of bytes before the signature.
    std::uint64_t signedSize = 0;
    std::vector<unsigned char> der;

    /// Reads the end of an open file without changing the descriptor's offset. The DER is not
    /// examined. errSecCSUnsigned if the file does not end like a signed file.
    [[nodiscard]] static SecOutcome<AppendedSignature> read(int descriptor);

    /// The bytes to append to a file to make `der` its signature.
    [[nodiscard]] static std::string ending(std::span<const unsigned char> der);
};

} // namespace veltra
