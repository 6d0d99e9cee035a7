#include "platform/TransientUnits.h"

#include "platform/TaskStreams.h"

#include <cstdlib>
#include <utility>
#include <vector>

#include <systemd/sd-bus.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr const char* systemdName = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";
constexpr const char* serviceInterface = "org.freedesktop.systemd1.Service";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

using Property = sdbus::Struct<std::string, sdbus::Variant>;
using Command = sdbus::Struct<std::string, std::vector<std::string>, std::vector<std::string>>;

std::string unitPath(const std::string& name)
{
    char* path = nullptr;
    if (sd_bus_path_encode("/org/freedesktop/systemd1/unit", name.c_str(), &path) < 0)
        return {};
    std::string result{path};
    std::free(path);
    return result;
}

std::vector<Property> propertiesOf(const Task& task, Fd output, Fd error)
{
    std::vector<std::string> words{task.launchPath};
    words.insert(words.end(), task.arguments.begin(), task.arguments.end());
    // What systemd would tell the program of itself.
    const std::vector<std::string> unset{"INVOCATION_ID", "JOURNAL_STREAM", "SYSTEMD_EXEC_PID",
                                         "USER",          "LOGNAME",        "SHELL"};
    const std::vector<std::string> literally{"no-env-expand"};
    const auto handOver = [](Fd descriptor) {
        return sdbus::Variant{sdbus::UnixFd{descriptor.release(), sdbus::adopt_fd}};
    };
    return {
        {"Description", sdbus::Variant{"The agent's command-line tool"}},
        {"Type", sdbus::Variant{"exec"}},
        {"ExecStartEx", sdbus::Variant{std::vector<Command>{{task.launchPath, words, literally}}}},
        {"Environment", sdbus::Variant{task.environment}},
        {"UnsetEnvironment", sdbus::Variant{unset}},
        {"StandardOutputFileDescriptor", handOver(std::move(output))},
        {"StandardErrorFileDescriptor", handOver(std::move(error))},
        {"CollectMode", sdbus::Variant{"inactive-or-failed"}},
        // What it leaves running is its own affair.
        {"KillMode", sdbus::Variant{"process"}},
        // Keeps the unit until it was asked how it ended.
        {"AddRef", sdbus::Variant{true}},
    };
}

} // namespace

bool TransientUnits::areAvailable()
{
    return ::sd_booted() > 0;
}

TransientUnits::TransientUnits(PollLoop& loop, std::shared_ptr<sdbus::IConnection> bus)
    : loop_{loop}, bus_{std::move(bus)}, manager_{
                                             sdbus::createProxy(*bus_, systemdName, managerPath)}
{
    changes_ = bus_->addMatch(std::string{"type='signal',sender='"} + systemdName +
                                  "',interface='" + propertiesInterface +
                                  "',member='PropertiesChanged',arg0='" + serviceInterface + "'",
                              [this](sdbus::Message& message) {
                                  std::string interface;
                                  Properties changed;
                                  message >> interface >> changed;
                                  takeChange(message.getPath(), changed);
                              });
    // Nobody is told of changes otherwise. It is done before anything that is sent later.
    manager_->callMethod("Subscribe").onInterface(managerInterface).dontExpectReply();
}

Result<std::monostate> TransientUnits::launch(const Task& task,
                                              std::function<void(const std::string&)> onFailure)
{
    // systemd would tell only the program's exit status of that.
    if (::access(task.launchPath.c_str(), X_OK) != 0)
        return Error::last("start", task.launchPath);
    const auto streams = std::make_shared<TaskStreams>(task.standardOutput, task.standardError);
    auto ends = streams->start(loop_);
    if (!ends)
        return ends.error();

    const std::string name = "veltra-agent-tool-" + std::to_string(::getpid()) + "-" +
                             std::to_string(++lastUnit_) + ".service";
    const std::string path = unitPath(name);
    units_[path] = {name, task.terminationHandler,
                    [streams, onFailure = std::move(onFailure)](const std::string& reason) {
                        streams->stop();
                        onFailure(reason);
                    }};
    request(path, task, std::move(ends.value().output), std::move(ends.value().error));
    return std::monostate{};
}

void TransientUnits::request(const std::string& path, const Task& task, Fd output, Fd error)
{
    using Auxiliary = std::vector<sdbus::Struct<std::string, std::vector<Property>>>;
    manager_->callMethodAsync("StartTransientUnit")
        .onInterface(managerInterface)
        .withArguments(units_[path].name, std::string{"fail"},
                       propertiesOf(task, std::move(output), std::move(error)), Auxiliary{})
        .uponReplyInvoke([this, path](const sdbus::Error* failure, const sdbus::ObjectPath&) {
            if (failure)
                fail(path, failure->getMessage());
        });
}

void TransientUnits::takeChange(const std::string& path, const Properties& changed)
{
    const auto ended = changed.find("ExecMainExitTimestampMonotonic");
    const auto status = changed.find("ExecMainStatus");
    const auto result = changed.find("Result");
    const bool hasEnded = ended != changed.end() && status != changed.end() &&
                          ended->second.get<std::uint64_t>() != 0;
    if (hasEnded) {
        // The exit status or the signal, whichever it was; see waitid(2).
        if (const auto unit = take(path))
            unit->terminationHandler(status->second.get<std::int32_t>());
    } else if (result != changed.end() && result->second.get<std::string>() != "success") {
        fail(path, result->second.get<std::string>());
    }
}

void TransientUnits::fail(const std::string& path, const std::string& reason)
{
    if (const auto unit = take(path))
        unit->onFailure(reason);
}

std::optional<TransientUnits::Unit> TransientUnits::take(const std::string& path)
{
    const auto found = units_.find(path);
    if (found == units_.end())
        return std::nullopt;
    Unit unit = std::move(found->second);
    units_.erase(found);
    manager_->callMethod("UnrefUnit")
        .onInterface(managerInterface)
        .withArguments(unit.name)
        .dontExpectReply();
    return unit;
}

} // namespace veltra
