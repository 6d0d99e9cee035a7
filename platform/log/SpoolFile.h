#pragma once

#include "platform/base/Fd.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace veltra {

/// Bytes waiting in an unnamed temporary file, first in first out.
///
/// The file is made when it is first needed, in the folder that $TMPDIR names, else in /var/tmp or
/// /tmp; only its owner can read it and it is gone with the program. Functions that are not const
/// need the caller's lock; read() may run beside them for bytes that wait.
class SpoolFile {
  public:
    /// The bytes that wait.
    struct Extent {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;

        [[nodiscard]] std::uint64_t size() const noexcept { return end - begin; }
    };

    SpoolFile();

    [[nodiscard]] bool isEmpty() const noexcept { return waiting_.size() == 0; }
    [[nodiscard]] Extent waiting() const noexcept { return waiting_; }

    /// Puts `pieces` behind what waits: all of them or, when the file cannot be made or has no
    /// room, none.
    [[nodiscard]] bool append(std::span<const std::string_view> pieces);

    /// Fills `bytes` from `offset` on. False, with errno, when they cannot be read.
    [[nodiscard]] bool read(std::uint64_t offset, std::span<char> bytes) const;

    /// Drops the first `count` waiting bytes and gives their room back to the disk.
    void drop(std::uint64_t count);

  private:
    bool open();
    bool write(std::string_view bytes, std::uint64_t offset) const;
    void cut(std::uint64_t size) const;

    std::string folder_;
    Fd file_;
    Extent waiting_;
};

} // namespace veltra
