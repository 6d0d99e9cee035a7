#pragma once

#include "platform/desktop/Workspace.h"

#include <QStringList>

#include <mutex>

namespace veltra {

/// A workspace for one test, which records what it is told.
class FakeWorkspace : public Workspace {
  public:
    [[nodiscard]] NotificationCenter& notificationCenter() override { return notificationCenter_; }
    void noteFileSystemChanged(const QString& path) override;

    /// The paths noted so far, in order.
    [[nodiscard]] QStringList notedPaths() const;

  private:
    NotificationCenter notificationCenter_;
    mutable std::mutex mutex_;
    QStringList notedPaths_;
};

} // namespace veltra
