#pragma once

#include "agentmon/AgentProcessMonitor.h"

#include <QIcon>

namespace veltra {

/// The icon beside the status text. Icons differ in shape as well as colour: a green disc with a
/// tick for a running agent, a red octagon with a bar for one that is down. Main thread only.
[[nodiscard]] QIcon agentStateIcon(AgentState state);

} // namespace veltra
