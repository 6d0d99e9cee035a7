#include "demo/StandInAgent.h"

#include <unistd.h>

namespace veltra {

namespace {

constexpr std::string_view logCommand = "log ";

std::string failed(const Error& error)
{
    return "failed: " + error.message();
}

} // namespace

StandInAgent::StandInAgent(AgentLog log, std::uint64_t seed)
    : log_{std::move(log)}, chatter_{seed}, format_{AgentLineFormat::Zone::Local, ::getpid()}
{
}

Result<> StandInAgent::writeBeginning()
{
    return log_.isEmpty() ? writeHistory() : announce("vxsvc", "Agent started");
}

Result<> StandInAgent::writeHistory()
{
    using namespace std::chrono_literals;
    constexpr int lines = 40;
    constexpr auto step = 700ms;
    const auto start = std::chrono::system_clock::now() - lines * step;

    if (auto written = write(start - step, {"vxsvc", "Info", 0, "Agent started"}); !written)
        return written;

    for (int i = 0; i < lines; ++i) {
        const std::chrono::milliseconds jitter{chatter_.below(step.count())};
        if (auto written = write(start + i * step + jitter, chatter_.next()); !written)
            return written;
    }
    return success;
}

Result<> StandInAgent::writeFlurry()
{
    return isQuiet_ ? success : writeNow(2 + static_cast<int>(chatter_.below(5)));
}

std::chrono::milliseconds StandInAgent::pause()
{
    return std::chrono::milliseconds{300 + chatter_.below(1400)};
}

Result<> StandInAgent::writeFarewell()
{
    return announce("vxsvc", "Agent stopped");
}

std::string StandInAgent::carryOut(std::string_view command)
{
    if (command == "burst")
        return burst();
    if (command == "rotate")
        return rotate();
    if (command == "truncate")
        return truncate();
    if (command == "quiet" || command == "talk")
        return setQuiet(command == "quiet");
    if (command.starts_with(logCommand))
        return logForTool(command.substr(logCommand.size()));
    return "failed: no such command; there are burst, rotate, truncate, quiet, talk and log TEXT";
}

Result<> StandInAgent::write(TimePoint when, const AgentMessage& message)
{
    line_.clear();
    format_.append(line_, when, message);
    return log_.write(line_);
}

Result<> StandInAgent::writeNow(int lines)
{
    for (int i = 0; i < lines; ++i) {
        if (auto written = write(std::chrono::system_clock::now(), chatter_.next()); !written)
            return written;
    }
    return success;
}

Result<> StandInAgent::announce(std::string_view component, std::string_view text)
{
    return write(std::chrono::system_clock::now(), {component, "Info", 0, std::string{text}});
}

std::string StandInAgent::logForTool(std::string_view text)
{
    if (const auto written = announce("trolex", text); !written)
        return failed(written.error());
    return "ok: logged";
}

std::string StandInAgent::burst()
{
    constexpr int lines = 10'000;
    if (const auto written = writeNow(lines); !written)
        return failed(written.error());
    return "ok: wrote " + std::to_string(lines) + " lines to " + log_.name();
}

std::string StandInAgent::rotate()
{
    if (const auto written = log_.rotate(); !written)
        return failed(written.error());
    if (const auto written = announce("vxsvc", "Log opened"); !written)
        return failed(written.error());
    return "ok: goes on in " + log_.name();
}

std::string StandInAgent::truncate()
{
    if (const auto written = log_.truncate(); !written)
        return failed(written.error());
    return "ok: cut " + log_.name() + " to nothing";
}

std::string StandInAgent::setQuiet(bool isQuiet)
{
    isQuiet_ = isQuiet;
    return isQuiet ? "ok: writes nothing of its own accord" : "ok: writes as usual";
}

} // namespace veltra
