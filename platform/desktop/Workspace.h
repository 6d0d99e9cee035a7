#pragma once

#include "platform/desktop/NotificationCenter.h"

#include <QString>

namespace veltra {

/// The desktop session around the program, as far as the program talks to it.
/// All functions may be called from any thread.
class Workspace {
  public:
    /// The workspace of this process.
    static Workspace& sharedWorkspace();

    Workspace() = default;
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;
    virtual ~Workspace() = default;

    /// The workspace's own notification centre, apart from the default one.
    [[nodiscard]] virtual NotificationCenter& notificationCenter() = 0;

    /// Says that the file system changed at `path`. Desktops on Linux watch files themselves and
    /// take no such hint, so the real workspace has nobody to pass it on to.
    virtual void noteFileSystemChanged(const QString& path) = 0;
};

} // namespace veltra
