#pragma once

#include "platform/base/Error.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace veltra {

// What can happen to a watched file or folder, as bits of one mask. The values are those of the
// vnode filter of kqueue(2).
inline constexpr std::uint32_t NOTE_DELETE = 0x01; ///< its last name was removed
inline constexpr std::uint32_t NOTE_WRITE = 0x02;  ///< contents, or a folder's entries, changed
inline constexpr std::uint32_t NOTE_EXTEND = 0x04; ///< it grew
inline constexpr std::uint32_t NOTE_ATTRIB = 0x08; ///< owner, mode, times or other attributes
inline constexpr std::uint32_t NOTE_LINK = 0x10;   ///< its number of names changed
inline constexpr std::uint32_t NOTE_RENAME = 0x20; ///< it was renamed
inline constexpr std::uint32_t NOTE_REVOKE = 0x40; ///< its file system was unmounted

/// The filter of every event that a KernelQueue reports.
inline constexpr std::int16_t EVFILT_VNODE = -4;

/// A queue of changes to watched files and folders.
///
/// All changes of one watch that were not yet fetched arrive as one event with their bits OR-ed. An
/// event is reported once per change, not while a state lasts (like EV_CLEAR in kqueue(2)). Events
/// of different watches arrive in the order of each watch's first unfetched change. All functions
/// may be called from any thread; wait() from one thread at a time.
class KernelQueue {
  public:
    struct Event {
        std::int16_t filter = EVFILT_VNODE;
        std::uint32_t fflags = 0;    ///< NOTE_* bits, only those that the watch asked for
        std::shared_ptr<void> udata; ///< the value given to watch(), kept alive by the event
    };

    /// One watch. Move-only; destroying it ends the watch and drops changes not yet fetched. May
    /// outlive the queue; it then does nothing.
    class Registration {
      public:
        /// What a queue stores for one watch; destroying it ends the watch.
        class Watch {
          public:
            virtual ~Watch() = default;
            virtual void setFlags(std::uint32_t fflags) = 0;
        };

        Registration() = default;
        explicit Registration(std::unique_ptr<Watch> watch) : watch_{std::move(watch)} {}

        /// Replaces the mask of the watch. Does nothing on an empty registration.
        void setFlags(std::uint32_t fflags)
        {
            if (watch_)
                watch_->setFlags(fflags);
        }

        [[nodiscard]] explicit operator bool() const noexcept { return watch_ != nullptr; }

      private:
        std::unique_ptr<Watch> watch_;
    };

    /// A queue based on inotify(7). Fails if the user's inotify instances are used up.
    [[nodiscard]] static Result<std::unique_ptr<KernelQueue>> open();

    KernelQueue() = default;
    KernelQueue(const KernelQueue&) = delete;
    KernelQueue& operator=(const KernelQueue&) = delete;
    virtual ~KernelQueue() = default;

    /// The queue's descriptor; the queue still owns it.
    [[nodiscard]] virtual int descriptor() const noexcept = 0;

    /// Watches the file that `descriptor` refers to for the changes in `fflags`.
    ///
    /// `descriptor` may be opened with O_PATH and must stay open as long as the registration lives.
    /// If `udata` has been destroyed by the time an event would be reported, the event is dropped.
    /// Fails if the file may not be read (EACCES) or the user's watches are used up (ENOSPC).
    [[nodiscard]] virtual Result<Registration> watch(int descriptor, std::uint32_t fflags,
                                                     std::weak_ptr<void> udata) = 0;

    /// Blocks until there is an event and returns it; returns nothing after interrupt() or if
    /// waiting failed.
    [[nodiscard]] virtual std::optional<Event> wait() = 0;

    /// Makes the current wait, or else the next one, return nothing.
    virtual void interrupt() noexcept = 0;
};

} // namespace veltra
