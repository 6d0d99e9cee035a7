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
        int wd = -1; ///< -1 in the record of an overflow
        std::uint32_t mask = 0;
        bool hasName = false; ///< it concerns an entry of the watched folder
    };

    /// Fails if the user's inotify instances are used up (EMFILE).
    [[nodiscard]] static Result<InotifyInstance> open();

    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// Watches the file that `descriptor` refers to and returns the watch descriptor, which is the
    /// same for every watch of one inode. `mask` is added to the bits already watched.
    [[nodiscard]] Result<int> add(int descriptor, std::uint32_t mask);

    /// Ends a watch. A watch that the kernel has already ended is ignored.
    void remove(int wd) noexcept;

    /// Passes every record that is queued at the time of the call to `handle`, and possibly later
    /// ones; never blocks. Records that are queued meanwhile do not prolong it, so it returns
    /// however fast somebody writes. Returns false if reading failed.
    [[nodiscard]] bool drain(const std::function<void(const Record&)>& handle);

  private:
    explicit InotifyInstance(Fd descriptor) : descriptor_{std::move(descriptor)} {}

    Fd descriptor_;
};

} // namespace veltra
