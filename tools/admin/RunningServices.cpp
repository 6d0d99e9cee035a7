#include "tools/admin/RunningServices.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/base/ProcPath.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/ConnectionNames.h"
#include "platform/process/PinnedProcess.h"
#include "tools/admin/InstalledFiles.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto busPatience = 5s;
constexpr auto helperPatience = 10s;

// See sd_booted(3).
bool isSystemdRunning()
{
    std::error_code ignored;
    return fs::is_directory("/run/systemd/system", ignored);
}

// With default signals and without output; systemctl tells the journal what goes wrong.
Result<int> statusOfSystemctl(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"systemctl", "--no-ask-password"});
    std::vector<char*> words;
    words.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        words.push_back(argument.data());
    words.push_back(nullptr);

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
        ::posix_spawn_file_actions_adddup2(&actions, STDIN_FILENO, stream);
    sigset_t all;
    ::sigfillset(&all);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    errno = ::posix_spawnp(&child, words[0], &actions, &attributes, words.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (errno != 0)
        return Error::last("start", "systemctl");

    int status = 0;
    if (::waitpid(child, &status, 0) < 0)
        return Error::last("wait for", "systemctl");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Done systemctl(const std::vector<std::string>& arguments, int otherSuccess = 0)
{
    const auto status = statusOfSystemctl(arguments);
    if (!status)
        return status.error();
    if (status.value() != 0 && status.value() != otherSuccess)
        return Error{adminError(AdminError::unitsFailed), "have systemd do", arguments.front()};
    return std::monostate{};
}

// None when nobody owns it.
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

// Its file may have been replaced since.
bool isInstalledHelper(const PinnedProcess& process)
{
    std::error_code error;
    const fs::path executable = fs::read_symlink(descriptorPath(process.executable().get()), error);
    const std::string installed = InstalledFiles::helper;
    return executable == installed || executable == installed + " (deleted)";
}

// The program behind the name, held fast; none when there is none, or it is not ours to end.
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

Done endHelperOfBus()
{
    const auto bus = BusConnection::open();
    if (!bus)
        return std::monostate{};
    const auto helper = runningHelper(*bus.value());
    if (!helper)
        return helper.error();
    if (helper.value() && !helper.value()->end(helperPatience))
        return Error{adminError(AdminError::helperRunsOn), "end", "the running helper"};
    return std::monostate{};
}

} // namespace

Done reloadUnits()
{
    return isSystemdRunning() ? systemctl({"daemon-reload"}) : std::monostate{};
}

Done reloadBus()
{
    const auto bus = BusConnection::open();
    if (!bus)
        return std::monostate{};
    auto request = bus.value()->methodCall(connections::busName, connections::busPath,
                                           connections::busName, "ReloadConfig");
    if (const auto answer = bus.value()->call(request, busPatience); !answer)
        return answer.error();
    return std::monostate{};
}

Done endHelper()
{
    if (!isSystemdRunning())
        return endHelperOfBus();
    constexpr int notLoaded = 5;
    return systemctl({"stop", fs::path{InstalledFiles::unit}.filename()}, notLoaded);
}

} // namespace veltra
