#include "tools/admin/RunningServices.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/BusConnection.h"
#include "platform/PinnedProcess.h"
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

std::unique_ptr<sdbus::IProxy> busDaemon(BusConnection& connection)
{
    return sdbus::createProxy(*connection.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus");
}

std::optional<pid_t> ownerOfHelpersName(sdbus::IProxy& daemon)
{
    std::uint32_t pid = 0;
    try {
        daemon.callMethod("GetConnectionUnixProcessID")
            .onInterface("org.freedesktop.DBus")
            .withTimeout(busPatience)
            .withArguments(std::string{HelperConstants::machServiceName})
            .storeResultsTo(pid);
    } catch (const sdbus::Error& error) {
        if (error.getName() == "org.freedesktop.DBus.Error.NameHasNoOwner")
            return std::nullopt;
        throw;
    }
    return static_cast<pid_t>(pid);
}

// Its file may have been replaced since.
bool isInstalledHelper(const PinnedProcess& process)
{
    std::error_code error;
    const fs::path executable =
        fs::read_symlink("/proc/self/fd/" + std::to_string(process.executable().get()), error);
    const std::string installed = InstalledFiles::helper;
    return executable == installed || executable == installed + " (deleted)";
}

// The program behind the name, held fast; none when there is none, or it is not ours to end.
std::optional<PinnedProcess> runningHelper(sdbus::IProxy& daemon)
{
    const auto owner = ownerOfHelpersName(daemon);
    if (!owner)
        return std::nullopt;
    auto process = PinnedProcess::open(*owner);
    if (!process || ownerOfHelpersName(daemon) != owner || !isInstalledHelper(process.value()))
        return std::nullopt;
    return std::move(process.value());
}

Done endHelperOfBus()
{
    const auto connection = BusConnection::open();
    if (!connection)
        return std::monostate{};
    const auto daemon = busDaemon(*connection.value());
    const auto helper = runningHelper(*daemon);
    if (helper && !helper->end(helperPatience))
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
    const auto connection = BusConnection::open();
    if (!connection)
        return std::monostate{};
    try {
        busDaemon(*connection.value())
            ->callMethod("ReloadConfig")
            .onInterface("org.freedesktop.DBus")
            .withTimeout(busPatience);
    } catch (const sdbus::Error& error) {
        return Error{std::make_error_code(std::errc::io_error), "reload the system bus",
                     error.getMessage()};
    }
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
