#pragma once

#include "demo/AgentChatter.h"
#include "demo/AgentLineFormat.h"
#include "demo/AgentLog.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace veltra {

/// Behaves like the agent service as far as its log shows: a few lines every second at irregular
/// times, and something unusual only on command.
///
/// For one thread. Every operation that writes returns the error that prevented writing.
class StandInAgent {
  public:
    StandInAgent(AgentLog log, std::uint64_t seed);

    /// The agent's first lines. In an empty log these are about 40 that end at the current time, as
    /// if the agent had been running for a while.
    [[nodiscard]] Result<> writeBeginning();

    /// The lines that one piece of work leaves in the log; none while the agent is quiet.
    [[nodiscard]] Result<> writeFlurry();

    /// How long to wait before the next flurry; varies every time.
    [[nodiscard]] std::chrono::milliseconds pause();

    /// The agent's last line.
    [[nodiscard]] Result<> writeFarewell();

    /// Carries out "burst" (10,000 lines at once), "rotate" (continues in a new file), "truncate"
    /// (truncates its file to zero bytes), "quiet" or "talk", or logs the text after "log " as a
    /// line of its tool, even while quiet. The answer begins with "ok: " or "failed: ".
    [[nodiscard]] std::string carryOut(std::string_view command);

  private:
    using TimePoint = std::chrono::system_clock::time_point;

    Result<> write(TimePoint when, const AgentMessage& message);
    Result<> writeNow(int lines);
    Result<> writeHistory();
    Result<> announce(std::string_view component, std::string_view text);
    std::string logForTool(std::string_view text);
    std::string burst();
    std::string rotate();
    std::string truncate();
    std::string setQuiet(bool isQuiet);

    AgentLog log_;
    AgentChatter chatter_;
    AgentLineFormat format_;
    std::string line_;
    bool isQuiet_ = false;
};

} // namespace veltra
