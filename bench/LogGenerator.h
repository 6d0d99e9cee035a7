#pragma once

#include "demo/AgentChatter.h"
#include "demo/AgentLineFormat.h"

#include <chrono>
#include <string>

namespace veltra {

/// Generates an agent's log, the same every time and on every machine: about 90 bytes a line, a few
/// lines every second from 5 March 2024 on. For one thread.
class LogGenerator {
  public:
    LogGenerator();

    /// Appends the log's next line, including its line feed, to `text`.
    void appendLine(std::string& text);

  private:
    AgentChatter chatter_;
    AgentLineFormat format_;
    std::chrono::system_clock::time_point now_;
};

} // namespace veltra
