#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <cstdint>
#include <functional>
#include <utility>

namespace veltra {

/// One inotify descriptor. See inotify(7). Not thread-safe.
class InotifyInstance {
  public:
    struct Record {
        int wd = -1; ///< -1 in the record that tells of an overflow
        std::uint32_t mask = 0;
        bool hasName = false; ///< it is about an entry of the watched folder
    };

    /// Fails when the user's inotify instances are used up (EMFILE).
    [[nodiscard]] static Result<InotifyInstance> open();

    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// Watches what `descriptor` is open on and returns the watch descriptor, which is the same
    /// for every watch of one inode; `mask` is added to what is watched for already.
    [[nodiscard]] Result<int> add(int descriptor, std::uint32_t mask);

    /// Ends a watch. One that the kernel ended by itself is passed over.
    void remove(int wd) noexcept;

    /// Hands every record that is queued at the time of the call to `handle`, and possibly later
    /// ones; never blocks. What is queued while it runs does not keep it running, so that it
    /// returns however fast somebody writes. False when reading failed.
    [[nodiscard]] bool drain(const std::function<void(const Record&)>& handle);

  private:
    explicit InotifyInstance(Fd descriptor) : descriptor_{std::move(descriptor)} {}

    Fd descriptor_;
};

} // namespace veltra
