#pragma once

#include "demo/AgentChatter.h"
#include "demo/AgentLineFormat.h"

#include <chrono>
#include <string>

namespace veltra {

/// Writes an agent's log out of nothing, the same one every time and on every machine: about 90
/// bytes a line, a few lines every second from 5 March 2024 on. One thread.
class LogGenerator {
  public:
    LogGenerator();

    /// Appends the log's next line, line feed included, to `text`.
    void appendLine(std::string& text);

  private:
    AgentChatter chatter_;
    AgentLineFormat format_;
    std::chrono::system_clock::time_point now_;
};

} // namespace veltra
