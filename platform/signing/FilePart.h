#pragma once

#include "platform/signing/OpenSsl.h"

#include <cstdint>

namespace veltra {

/// The first bytes of an open file, streamed to OpenSSL.
///
/// They are read with pread(2), so that the descriptor's own offset stays and a file that is cut
/// short meanwhile is an early end, never a crash. The descriptor must outlive the object.
class FilePart {
  public:
    FilePart(int descriptor, std::uint64_t size) noexcept : descriptor_{descriptor}, end_{size} {}

    /// A reader of the part. The part must outlive it. Null when there is no memory.
    [[nodiscard]] BioPointer open();

    /// Whether the system refused to read any of it.
    [[nodiscard]] bool hasFailed() const noexcept { return hasFailed_; }

  private:
    int read(char* bytes, int size);

    int descriptor_;
    std::uint64_t offset_ = 0;
    std::uint64_t end_;
    bool hasFailed_ = false;
};

} // namespace veltra
