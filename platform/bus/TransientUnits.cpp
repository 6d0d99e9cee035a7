#include "platform/bus/TransientUnits.h"

#include "platform/bus/ConnectionNames.h"
#include "platform/process/TaskStreams.h"

#include <cstdlib>
#include <tuple>
#include <utility>

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

using Words = std::vector<std::string>;
// The program, its arguments including its name, and flags.
using Command = std::tuple<std::string, Words, Words>;
using Property =
    std::tuple<std::string, BusVariant<bool, std::string, Words, std::vector<Command>, Fd>>;

std::string unitPath(const std::string& name)
{
    char* path = nullptr;
    if (sd_bus_path_encode("/org/freedesktop/systemd1/unit", name.c_str(), &path) < 0)
        return {};
    std::string result{path};
    std::free(path);
    return result;
}

std::vector<Property> propertiesOf(const Task& task, const std::string& description, Fd output,
                                   Fd error)
{
    Words words{task.launchPath};
    words.insert(words.end(), task.arguments.begin(), task.arguments.end());
    // Variables with which systemd would tell the program about itself.
    const Words unset{
        "INVOCATION_ID",         "JOURNAL_STREAM", "SYSTEMD_EXEC_PID", "MEMORY_PRESSURE_WATCH",
        "MEMORY_PRESSURE_WRITE", "USER",           "LOGNAME",          "SHELL"};
    std::vector<Property> properties;
    const auto set = [&](const char* name, auto value) {
        properties.emplace_back(name, std::move(value));
    };
    set("Description", description);
    set("Type", std::string{"exec"});
    set("ExecStartEx", std::vector<Command>{{task.launchPath, words, {"no-env-expand"}}});
    set("Environment", task.environment);
    set("UnsetEnvironment", unset);
    set("StandardOutputFileDescriptor", std::move(output));
    set("StandardErrorFileDescriptor", std::move(error));
    set("CollectMode", std::string{"inactive-or-failed"});
    // Processes that the program leaves behind are not ours to end.
    set("KillMode", std::string{"process"});
    // Keeps the unit until it was asked how it ended.
    set("AddRef", true);
    return properties;
}

} // namespace

bool TransientUnits::areAvailable()
{
    return ::sd_booted() > 0;
}

Result<std::unique_ptr<TransientUnits>> TransientUnits::open(EventLoop& loop, BusConnection& bus,
                                                             Naming naming)
{
    std::unique_ptr<TransientUnits> units{new TransientUnits{loop, bus, std::move(naming)}};
    if (const auto watched = units->watchOwner(); !watched)
        return watched.error();
    if (const auto listening = units->listen(); !listening)
        return listening.error();
    return units;
}

Result<> TransientUnits::watchOwner()
{
    auto watch = bus_.match(connections::busName, connections::ruleForOwnersOf(systemdName),
                            [this](BusMessage& signal) {
                                std::string name;
                                std::string previous;
                                std::string owner;
                                if (signal.read(name, previous, owner))
                                    takeOwner(owner);
                            });
    if (!watch)
        return watch.error();
    owners_ = std::move(watch.value());
    return success;
}

// systemd executes itself anew when it is updated. It then has another name on the bus and still
// the same units, one of which may have ended meanwhile.
void TransientUnits::takeOwner(const std::string& owner)
{
    if (owner.empty())
        return;
    const auto listening = listen();
    Words paths;
    for (const auto& [path, unit] : units_)
        paths.push_back(path);
    for (const std::string& path : paths)
        if (!listening)
            fail(path, listening.error().message());
        else
            ask(path);
}

Result<> TransientUnits::listen()
{
    const auto owner = bus_.askBus<std::string>("GetNameOwner", systemdName);
    if (!owner)
        return owner.error();
    const auto user = bus_.askBus<std::uint32_t>("GetConnectionUnixUser", owner.value());
    if (!user)
        return user.error();
    if (user.value() != 0)
        return Error{std::make_error_code(std::errc::operation_not_permitted), "trust the owner of",
                     systemdName};
    auto watch = bus_.match(owner.value(),
                            std::string{"interface='"} + propertiesInterface +
                                "',member='PropertiesChanged',arg0='" + serviceInterface + "'",
                            [this](BusMessage& signal) {
                                std::string interface;
                                Properties changed;
                                std::vector<std::string> invalidated;
                                if (signal.read(interface, changed, invalidated))
                                    takeChange(std::string{signal.path()}, std::move(changed));
                            });
    if (!watch)
        return watch.error();
    changes_ = std::move(watch.value());
    // Without this, systemd sends no signals about changes. It takes effect before any later call.
    auto subscription = bus_.methodCall(systemdName, managerPath, managerInterface, "Subscribe");
    return bus_.send(subscription);
}

Result<> TransientUnits::launch(const Task& task, std::function<void(const std::string&)> onFailure)
{
    // systemd would only report this as an exit status of the program.
    if (::access(task.launchPath.c_str(), X_OK) != 0)
        return Error::last("start", task.launchPath);
    const auto streams = std::make_shared<TaskStreams>(loop_, task);
    auto ends = streams->start();
    if (!ends)
        return ends.error();

    const std::string name = naming_.name + "-" + std::to_string(::getpid()) + "-" +
                             std::to_string(++lastUnit_) + ".service";
    const std::string path = unitPath(name);
    units_[path] = {name,
                    task.terminationHandler,
                    [streams, onFailure = std::move(onFailure)](const std::string& reason) {
                        streams->stop();
                        onFailure(reason);
                    },
                    {},
                    {}};
    auto requested =
        request(path, task, std::move(ends.value().output), std::move(ends.value().error));
    if (!requested) {
        units_.erase(path);
        streams->stop();
    }
    return requested;
}

Result<> TransientUnits::request(const std::string& path, const Task& task, Fd output, Fd error)
{
    using Auxiliary = std::vector<std::tuple<std::string, std::vector<Property>>>;
    auto start = bus_.methodCall(systemdName, managerPath, managerInterface, "StartTransientUnit");
    start.append(units_[path].name, std::string{"fail"},
                 propertiesOf(task, naming_.description, std::move(output), std::move(error)),
                 Auxiliary{});
    auto sent = bus_.call(start, [this, path](BusMessage& answer) {
        if (const auto failure = answer.error())
            fail(path, failure->message);
    });
    if (!sent)
        return sent.error();
    units_[path].request = std::move(sent.value());
    return success;
}

void TransientUnits::ask(const std::string& path)
{
    auto question = bus_.methodCall(systemdName, path, propertiesInterface, "GetAll");
    auto sent =
        bus_.call(question.append(std::string{serviceInterface}), [this, path](BusMessage& answer) {
            Properties properties;
            if (const auto failure = answer.error())
                fail(path, failure->message);
            else if (answer.read(properties))
                takeChange(path, std::move(properties));
        });
    if (sent)
        units_[path].question = std::move(sent.value());
    else
        fail(path, sent.error().message());
}

void TransientUnits::takeChange(const std::string& path, Properties changed)
{
    const auto* const ended =
        findProperty<std::uint64_t>(changed, "ExecMainExitTimestampMonotonic");
    const auto* const status = findProperty<std::int32_t>(changed, "ExecMainStatus");
    const auto* const result = findProperty<std::string>(changed, "Result");
    if (ended && *ended != 0 && status) {
        // The exit status or the signal number, depending on how it ended; see waitid(2).
        if (const auto unit = take(path))
            unit->terminationHandler(*status);
    } else if (result && *result != "success") {
        fail(path, *result);
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
    auto release = bus_.methodCall(systemdName, managerPath, managerInterface, "UnrefUnit");
    // The unit may already be gone.
    static_cast<void>(bus_.send(release.append(unit.name)));
    return unit;
}

} // namespace veltra
