#include "helper/Helper.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/base/Utf8.h"
#include "platform/log/SystemLog.h"
#include "platform/process/Task.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace veltra {

namespace {

// The tool gets nothing from the environment that the helper was started with.
std::vector<std::string> environmentOfTool()
{
    return {"HOME=/root", "LANG=C.UTF-8",
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"};
}

} // namespace

Helper::Helper(std::shared_ptr<EventLoop> loop, Setting setting)
    : listener_{loop, HelperConstants::machServiceName}, loop_{std::move(loop)}, setting_{std::move(
                                                                                     setting)}
{
    listener_.setDelegate(this);
    listener_.setExamination(
        [signatures = signatures_](const auto& client) { signatures->examine(client); });
    listener_.setRefusalHandler([this](const auto& caller, const std::string& reason) {
        refusals_.add("refused process " + std::to_string(caller.process) + " of user " +
                      std::to_string(caller.user) + ": " + reason);
    });
    listener_.setInvalidationHandler([this] {
        hasBus_ = false;
        shouldQuit_ = true;
        loop_->stop();
    });
}

Result<> Helper::run()
{
    if (auto resumed = listener_.resume(); !resumed)
        return resumed;

    if (auto prepared = prepareUnits(); !prepared)
        return prepared;
    while (!shouldQuit_)
        if (auto served = serveFor(setting_.shouldQuitCheckInterval); !served)
            return served;
    if (!std::exchange(isEnding_, true))
        if (auto served = waitForTasks(); !served)
            return served;
    return end();
}

// Whatever fails, the rest is still tried.
Result<> Helper::end()
{
    Result<> ended = listener_.end();
    if (const auto served = waitForTasks(); !served && ended)
        ended = served;
    if (const auto flushed = listener_.flush(); !flushed && ended)
        ended = flushed;
    return hasBus_ ? ended : success;
}

// Without the bus, nobody can be told how a tool ends.
Result<> Helper::waitForTasks()
{
    if (!hasBus_ || runningTasks_.expired())
        return success;
    return serveFor(setting_.shouldQuitCheckInterval);
}

Result<> Helper::prepareUnits()
{
    if (!TransientUnits::areAvailable())
        return success;
    auto units = TransientUnits::open(*loop_, *listener_.bus(),
                                      {"veltra-agent-tool", "The agent's command-line tool"});
    if (!units)
        return units.error();
    units_ = std::move(units.value());
    return success;
}

void Helper::quit()
{
    // Only once: a second stop would interrupt the wait for the tools.
    if (std::exchange(isEnding_, true))
        return;
    shouldQuit_ = true;
    loop_->stop();
}

bool Helper::listener(ServiceListener&,
                      const std::shared_ptr<ServiceConnection>& shouldAcceptNewConnection)
{
    const auto& connection = shouldAcceptNewConnection;
    try {
        if (!signatures_->codeSigningMatches(connection->process()))
            return false;
    } catch (const CodesignCheckError& error) {
        SystemLog::log({"Code signing check failed with error: ", error.what()});
        return false;
    }
    connection->setExportedObject([this](const ServiceConnection& exported) {
        return exportHelperProtocol(exported, *this);
    });
    connection->setInvalidationHandler(
        [this, connection = connection.get()] { connectionEnded(*connection); });
    if (const auto resumed = connection->resume(); !resumed) {
        SystemLog::log(resumed.error().message());
        return false;
    }
    connections_.push_back({connection, remoteAppProtocol(connection->remoteObject(),
                                                          [gate = gate_] { gate->opened(); })});
    gate_->opened();
    return true;
}

// The first connection that ends removes all others from the list and ends the helper.
void Helper::connectionEnded(const ServiceConnection& connection)
{
    const auto isEnded = [&](const auto& known) { return known.connection.get() == &connection; };
    if (std::ranges::any_of(connections_, isEnded))
        connections_.clear();
    gate_->opened();
    shouldQuit_ = shouldQuit_ || connections_.empty();
}

void Helper::getVersion(Version completion)
{
    completion(setting_.version.empty() ? "0" : setting_.version);
}

void Helper::runCommand(const std::string& withPath, ExitStatus completion)
{
    runTask(setting_.agent.commandLineTool, {withPath}, std::move(completion));
}

void Helper::runCommand(const std::string& withPath, const std::optional<AuthorizationData>&,
                        ExitStatus completion)
{
    runCommand(withPath, std::move(completion));
}

void Helper::runTask(const std::string& command, const std::vector<std::string>& arguments,
                     ExitStatus completion)
{
    const auto running = runningTasks();
    Task task{.launchPath = command,
              .arguments = arguments,
              .environment = environmentOfTool(),
              .standardOutput =
                  [this, running](auto chunk) { forward(chunk, &AppProtocol::logWithStdOut); },
              .standardError =
                  [this, running](auto chunk) { forward(chunk, &AppProtocol::logWithStdErr); },
              .terminationHandler =
                  [running, completion = std::move(completion)](int status) { completion(status); },
              .gate = gate_};
    if (const auto started = start(std::move(task)); !started)
        throw std::runtime_error{started.error().message()};
}

// The helper's confinement under systemd must not apply to the agent's tool.
Result<> Helper::start(Task task)
{
    if (!units_)
        return launch(*loop_, std::move(task));
    return units_->launch(task, [](const std::string& reason) {
        SystemLog::log({"the agent's tool cannot be started: ", reason});
    });
}

// A task runs until its process and both streams have ended. When none is left, the loop's run
// ends, because somebody may wait for that.
std::shared_ptr<void> Helper::runningTasks()
{
    auto running = runningTasks_.lock();
    if (!running)
        running = std::shared_ptr<void>{nullptr, [&loop = *loop_](auto) { loop.stop(); }};
    runningTasks_ = running;
    return running;
}

// The newest connection gets the output, no matter which one sent the command.
void Helper::forward(std::string_view chunk, Log log)
{
    if (!isValidUtf8(chunk) || connections_.empty())
        return;
    ((*connections_.back().remoteObjectProxy).*log)(std::string{chunk});
}

// A receiver that stands still holds up the tools whose output is for it, and nobody else.
bool Helper::mayReadOutput() const
{
    return connections_.empty() || connections_.back().remoteObjectProxy->hasRoom();
}

Result<> Helper::serveFor(std::chrono::milliseconds time)
{
    const auto end = loop_->callAfter(time, [this] { loop_->stop(); });
    return loop_->run();
}

} // namespace veltra
