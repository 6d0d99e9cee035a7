#include "bench/LogGenerator.h"

namespace veltra {

namespace {

constexpr std::uint64_t seed = 20240305;
constexpr int processId = 1234;
constexpr std::chrono::sys_days firstDay{std::chrono::year{2024} / std::chrono::March / 5};

} // namespace

LogGenerator::LogGenerator()
    : chatter_{seed}, format_{AgentLineFormat::Zone::Utc, processId}, now_{firstDay}
{
}

void LogGenerator::appendLine(std::string& text)
{
    now_ += std::chrono::milliseconds{chatter_.below(500)};
    format_.append(text, now_, chatter_.next());
}

} // namespace veltra
