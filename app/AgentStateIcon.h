#pragma once

#include "agentmon/AgentProcessMonitor.h"

#include <QIcon>

namespace veltra {

/// The sign beside the status text, told apart by shape as well as colour: a green disc with a
/// tick for an agent that runs, a red octagon with a bar for one that is down. Main thread only.
[[nodiscard]] QIcon agentStateIcon(AgentState state);

} // namespace veltra
