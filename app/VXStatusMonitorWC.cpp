#include "app/VXStatusMonitorWC.h"

namespace veltra {

VXStatusMonitorWC::VXStatusMonitorWC(const VXStatusResourceController& resources)
    : resources_{resources}
{
}

void VXStatusMonitorWC::windowDidLoad()
{
    if (mainWindow_)
        mainWindow_->setWindowTitle(
            resources_.getLocalisedString(QStringLiteral("VELTRA_AGENT_MONITOR")));
}

} // namespace veltra
