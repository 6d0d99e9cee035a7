#pragma once

#include "platform/desktop/Workspace.h"

#include <QStringList>

#include <mutex>

namespace veltra {

/// A workspace of one test's own, which keeps what it is told.
class FakeWorkspace : public Workspace {
  public:
    [[nodiscard]] NotificationCenter& notificationCenter() override { return notificationCenter_; }
    void noteFileSystemChanged(const QString& path) override;

    /// The paths that were noted so far, in order.
    [[nodiscard]] QStringList notedPaths() const;

  private:
    NotificationCenter notificationCenter_;
    mutable std::mutex mutex_;
    QStringList notedPaths_;
};

} // namespace veltra
