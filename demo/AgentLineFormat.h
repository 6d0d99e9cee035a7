#pragma once

#include "demo/AgentMessage.h"

#include <chrono>
#include <ctime>
#include <string>

namespace veltra {

/// Writes the agent's messages as lines of its log:
///
///     2024-03-05 10:22:33.456 (1234.5678) vxsvc.Info: Agent started
///
/// that is date, time with milliseconds, process and thread, component, severity, message, line
/// feed. One object belongs to one thread.
class AgentLineFormat {
  public:
    enum class Zone { Local, Utc };

    AgentLineFormat(Zone zone, int processId) : zone_{zone}, processId_{processId} {}

    /// Appends the line, line feed included, to `text`. `when` must not lie before 1970.
    void append(std::string& text, std::chrono::system_clock::time_point when,
                const AgentMessage& message);

  private:
    const std::string& second(std::time_t time);

    Zone zone_;
    int processId_;
    std::time_t cachedTime_ = -1;
    std::string cachedText_;
};

} // namespace veltra
