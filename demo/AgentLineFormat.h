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
/// These are the date, the time with milliseconds, process and thread, component, severity,
/// message, and a line feed. Use an object on one thread only.
class AgentLineFormat {
  public:
    enum class Zone { Local, Utc };

    AgentLineFormat(Zone zone, int processId) : zone_{zone}, processId_{processId} {}

    /// Appends the line, including its line feed, to `text`. `when` must not be before 1970.
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
