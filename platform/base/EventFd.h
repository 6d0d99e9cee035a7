#pragma once

#include "platform/base/Error.h"
#include "platform/base/Fd.h"

#include <utility>

namespace veltra {

/// Wakes up a thread that polls its descriptor. See eventfd(2). All functions may be called from
/// any thread.
class EventFd {
  public:
    [[nodiscard]] static Result<EventFd> open();

    [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

    /// Makes the descriptor readable until it is cleared.
    void signal() noexcept;
    void clear() noexcept;

  private:
    explicit EventFd(Fd descriptor) : descriptor_{std::move(descriptor)} {}

    Fd descriptor_;
};

} // namespace veltra
