#pragma once

#include "platform/signing/OpenSsl.h"

#include <cstdint>

namespace veltra {

/// The first bytes of an open file, streamed to OpenSSL.
///
/// They are read with pread(2), so the descriptor's offset does not change, and a file that is
/// truncated meanwhile ends early instead of causing a crash. The descriptor must outlive the
/// object.
class FilePart {
  public:
    FilePart(int descriptor, std::uint64_t size) noexcept : descriptor_{descriptor}, end_{size} {}

    /// A reader of the part, which must outlive it. Null if there is not enough memory.
    [[nodiscard]] BioPointer open();

    /// Whether a read failed.
    [[nodiscard]] bool hasFailed() const noexcept { return hasFailed_; }

  private:
    int read(char* bytes, int size);

    int descriptor_;
    std::uint64_t offset_ = 0;
    std::uint64_t end_;
    bool hasFailed_ = false;
};

} // namespace veltra
