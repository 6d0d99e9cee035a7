#pragma once

#include "platform/desktop/NotificationCenter.h"

#include <QString>

namespace veltra {

/// The parts of the desktop session that the program talks to. All functions may be called from any
/// thread.
class Workspace {
  public:
    /// The workspace of this process.
    static Workspace& sharedWorkspace();

    Workspace() = default;
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    virtual ~Workspace() = default;

    /// The workspace's own notification centre, separate from the default one.
    [[nodiscard]] virtual NotificationCenter& notificationCenter() = 0;

    /// Reports that the file system changed at `path`. Desktops on Linux watch files themselves and
    /// take no such hints, so the real workspace ignores it.
    virtual void noteFileSystemChanged(const QString& path) = 0;
};

} // namespace veltra
