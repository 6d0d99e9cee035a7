#pragma once

#include "platform/base/Fd.h"
#include "platform/kqueue/KernelQueue.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <mutex>

namespace veltra {

/// One watched path, with the descriptor through which it is watched.
///
/// Call the functions under the lock of the watcher that holds the entry, unless stated otherwise.
class VXStatusQueuePathEntry {
  public:
    /// An entry with one holder, or null, with errno set, if `path` cannot be opened. The
    /// descriptor is used only for watching, and blocks the path's file system as little as
    /// possible.
    [[nodiscard]] static std::shared_ptr<VXStatusQueuePathEntry> initWithPath(const QString& path,
                                                                              std::uint32_t flags);

    /// Adds a registration as a holder. May be called from any thread.
    void retainPath();

    /// Removes a registration as a holder; true if it was the last one. May be called from any
    /// thread.
    bool releasePath();

    [[nodiscard]] const QString& path() const noexcept { return path_; }
    [[nodiscard]] int watchedFD() const noexcept { return watchedFD_.get(); }
    /// How many registrations hold the entry. May be called from any thread.
    [[nodiscard]] std::uint32_t pathRefCount() const;
    /// The NOTE_* bits that the path is watched for.
    [[nodiscard]] std::uint32_t subscriptionFlags() const noexcept { return subscriptionFlags_; }
    void setSubscriptionFlags(std::uint32_t flags) noexcept { subscriptionFlags_ = flags; }

    /// Not used by the program itself; part of the interface.
    [[nodiscard]] const QString& logFilePath() const noexcept { return logfilePath_; }
    void setlogFilePath(const QString& path) { logfilePath_ = path; } // sic

    /// The entry's watch in the kernel queue; empty until it is registered there.
    [[nodiscard]] KernelQueue::Registration& registration() noexcept { return registration_; }
    void setRegistration(KernelQueue::Registration registration)
    {
        registration_ = std::move(registration);
    }

  private:
    VXStatusQueuePathEntry(QString path, Fd watchedFD, std::uint32_t flags);

    QString path_;
    Fd watchedFD_;
    KernelQueue::Registration registration_; // must end before the descriptor is closed
    std::uint32_t subscriptionFlags_;
    mutable std::mutex pathRefCountMutex_;
    std::uint32_t pathRefCount_ = 1;
    QString logfilePath_;
};

} // namespace veltra
