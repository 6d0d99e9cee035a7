#include "tools/admin/RunningServices.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/base/EventLoop.h"
#include "platform/base/ProcPath.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/ConnectionNames.h"
#include "platform/bus/TransientUnits.h"
#include "platform/process/PinnedProcess.h"
#include "platform/process/Task.h"
#include "tools/admin/InstalledFiles.h"

#include <cerrno>
#include <chrono>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace veltra {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto busPatience = 5s;
constexpr auto helperPatience = 10s;

// Its output is discarded; systemctl's errors are in the journal.
Result<int> statusOfSystemctl(const std::vector<std::string>& arguments)
{
    auto loop = EventLoop::open([](const std::exception&) {});
    if (!loop)
        return loop.error();
    int status = 0;
    const auto drop = [](std::string_view) {};
    Task task{.launchPath = "/usr/bin/systemctl",
              .arguments = {"--no-ask-password"},
              .environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin"},
              .standardOutput = drop,
              .standardError = drop,
              .terminationHandler = [&](int ended) {
                  status = ended;
                  loop.value()->stop();
              }};
    task.arguments.insert(task.arguments.end(), arguments.begin(), arguments.end());
    if (const auto launched = launch(*loop.value(), std::move(task)); !launched)
        return launched.error();
    if (const auto served = loop.value()->run(); !served)
        return served.error();
    return status;
}

Result<> systemctl(const std::vector<std::string>& arguments, int otherSuccess = 0)
{
    const auto status = statusOfSystemctl(arguments);
    if (!status)
        return status.error();
    if (status.value() != 0 && status.value() != otherSuccess)
        return Error{adminError(AdminError::unitsFailed), "have systemd do", arguments.front()};
    return success;
}

// Empty if nobody owns it.
Result<std::optional<pid_t>> ownerOfHelpersName(BusConnection& bus)
{
    auto question = bus.methodCall(connections::busName, connections::busPath, connections::busName,
                                   "GetConnectionUnixProcessID");
    auto answer =
        bus.call(question.append(std::string{HelperConstants::machServiceName}), busPatience);
    if (!answer && answer.error().code().value() == ENXIO)
        return std::optional<pid_t>{};
    if (!answer)
        return answer.error();
    std::uint32_t pid = 0;
    if (!answer.value().read(pid))
        return Error{std::make_error_code(std::errc::bad_message), "ask for the helper's process"};
    return std::optional{static_cast<pid_t>(pid)};
}

// Its file may have been replaced since it started.
bool isInstalledHelper(const PinnedProcess& process)
{
    std::error_code error;
    const fs::path executable = fs::read_symlink(descriptorPath(process.executable().get()), error);
    const std::string installed = InstalledFiles::helper;
    return executable == installed || executable == installed + " (deleted)";
}

// The program that owns the name, pinned; empty if there is none, or we must not end it.
Result<std::optional<PinnedProcess>> runningHelper(BusConnection& bus)
{
    const auto owner = ownerOfHelpersName(bus);
    if (!owner)
        return owner.error();
    if (!owner.value())
        return std::optional<PinnedProcess>{};
    auto process = PinnedProcess::open(*owner.value());
    const auto ownerStill = ownerOfHelpersName(bus);
    if (!ownerStill)
        return ownerStill.error();
    if (!process || ownerStill.value() != owner.value() || !isInstalledHelper(process.value()))
        return std::optional<PinnedProcess>{};
    return std::optional{std::move(process.value())};
}

Result<> endHelperOfBus()
{
    const auto bus = BusConnection::open();
    if (!bus)
        return success;
    const auto helper = runningHelper(*bus.value());
    if (!helper)
        return helper.error();
    if (helper.value() && !helper.value()->end(helperPatience))
        return Error{adminError(AdminError::helperRunsOn), "end", "the running helper"};
    return success;
}

} // namespace

Result<> reloadUnits()
{
    return TransientUnits::areAvailable() ? systemctl({"daemon-reload"}) : success;
}

Result<> reloadBus()
{
    const auto bus = BusConnection::open();
    if (!bus)
        return success;
    auto request = bus.value()->methodCall(connections::busName, connections::busPath,
                                           connections::busName, "ReloadConfig");
    if (const auto answer = bus.value()->call(request, busPatience); !answer)
        return answer.error();
    return success;
}

Result<> endHelper()
{
    if (!TransientUnits::areAvailable())
        return endHelperOfBus();
    constexpr int notLoaded = 5;
    return systemctl({"stop", fs::path{InstalledFiles::unit}.filename()}, notLoaded);
}

} // namespace veltra
