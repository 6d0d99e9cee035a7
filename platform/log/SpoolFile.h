#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace veltra {

/// Bytes that wait in an unnamed temporary file, first in, first out.
///
/// Only its owner can read the file, and it disappears with this object. Functions that are not
/// const need the caller's lock; read() may run in parallel with them for bytes that wait.
class SpoolFile {
  public:
    /// The range of the waiting bytes.
    struct Extent {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;

        [[nodiscard]] std::uint64_t size() const noexcept { return end - begin; }
    };

    /// An empty file on the disk that contains `folder`.
    [[nodiscard]] static Result<SpoolFile> create(const std::string& folder);

    [[nodiscard]] bool isEmpty() const noexcept { return waiting_.size() == 0; }
    [[nodiscard]] Extent waiting() const noexcept { return waiting_; }

    /// Appends `pieces` to the waiting bytes: all of them or, if the disk has no room, none.
    [[nodiscard]] Result<> append(std::span<const std::string_view> pieces);

    /// Fills `bytes` starting at `offset`. Returns false, with errno set, if they cannot be read.
    [[nodiscard]] bool read(std::uint64_t offset, std::span<char> bytes) const;

    /// Drops the first `count` waiting bytes and frees their disk space.
    void drop(std::uint64_t count);

  private:
    explicit SpoolFile(Fd file) : file_{std::move(file)} {}

    bool write(std::string_view bytes, std::uint64_t offset) const;

    Fd file_;
    Extent waiting_;
};

} // namespace veltra
