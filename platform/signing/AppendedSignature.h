#pragma once

#include "platform/signing/CodeSigningServices.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace veltra {

/// The end of a signed file: the signature in DER, its length in eight bytes with the lowest
/// first, and eight bytes by which a signed file is known. All that stands before is what is
/// signed. A value.
struct AppendedSignature {
    /// More than that is not looked at.
    static constexpr std::uint64_t largestFile = std::uint64_t{256} << 20;
    static constexpr std::uint64_t largestDer = std::uint64_t{1} << 20;

    /// How many bytes stand before the signature.
    std::uint64_t signedSize = 0;
    std::vector<unsigned char> der;

    /// Reads the end of an open file, whose descriptor's offset stays. What stands there as DER is
    /// not looked at. errSecCSUnsigned when the file does not end as a signed one does.
    [[nodiscard]] static SecOutcome<AppendedSignature> read(int descriptor);

    /// What has to be put behind a file's bytes to make `der` its signature.
    [[nodiscard]] static std::string ending(std::span<const unsigned char> der);
};

} // namespace veltra
