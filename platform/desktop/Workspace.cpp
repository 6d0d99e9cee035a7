#include "platform/desktop/Workspace.h"

namespace veltra {

namespace {

class DesktopWorkspace : public Workspace {
  public:
    [[nodiscard]] NotificationCenter& notificationCenter() override { return notificationCenter_; }
    void noteFileSystemChanged(const QString&) override {}

  private:
    NotificationCenter notificationCenter_;
};

} // namespace

Workspace& Workspace::sharedWorkspace()
{
    // Never destroyed: threads may still use it while the process ends.
    static Workspace& workspace = *new DesktopWorkspace;
    return workspace;
}

} // namespace veltra
