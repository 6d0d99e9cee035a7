#pragma once

#include "platform/base/PidFd.h"
#include "platform/bus/BusConnection.h"
#include "platform/bus/tests/ClientProgram.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/syscall.h>

namespace veltra {

using Words = ClientProgram::Words;

inline const std::string helperName = "com.veltra.agentMonitor.helper";
inline const std::string helperPath = "/Library/PrivilegedHelperTools/" + helperName;
inline const std::string toolPath = "/Library/Veltra/agent/bin/trolex";
inline const std::string programs = "/opt/veltra-test/";
inline const std::string trusted = programs + "service_client";

/// A client of the helper that was started and has a connection, unopened, called "a".
class Client : public ClientProgram {
  public:
    explicit Client(Words command = {trusted}) : ClientProgram{std::move(command)}
    {
        EXPECT_EQ(line(), "ready");
        tell("connect a");
    }

    /// The version, a request for which opens a connection: "a version 1.0.0" if all is well.
    std::string version(const std::string& connection = "a")
    {
        tell("version " + connection);
        return line();
    }
};

/// The bus only accepts users that the system has a name for.
inline Words asUser(const std::string& id, const Words& command)
{
    Words whole{"setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups"};
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

inline Words asNobody(const Words& command)
{
    return asUser("65534", command);
}

/// An ordinary user other than nobody.
inline Words asSomebody(const Words& command)
{
    return asUser("1", command);
}

/// What a command prints, errors included, and its exit status if that is not 0.
inline std::string outputOf(const std::string& command)
{
    std::string output;
    FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;)
        output += static_cast<char>(c);
    const int status = ::pclose(pipe);
    return status == 0 ? output : output + "status " + std::to_string(WEXITSTATUS(status));
}

/// Whether systemd runs here and starts the helper.
inline bool isUnderSystemd()
{
    return std::filesystem::exists("/run/systemd/system");
}

/// A number from the environment, for those who try more or others by hand.
inline std::string numberFrom(const char* variable, const char* otherwise)
{
    const char* const set = std::getenv(variable);
    return set ? set : otherwise;
}

/// Asks the bus itself something about a name; empty if it answers with an error.
template <typename Result>
std::optional<Result> askBus(BusConnection& bus, const char* method, const std::string& name)
{
    auto question = bus.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", method);
    auto answer = bus.call(question.append(name));
    Result result{};
    if (!answer || !answer.value().read(result))
        return std::nullopt;
    return result;
}

/// A connection to the bus of the test.
inline std::unique_ptr<BusConnection> joinBus()
{
    return std::move(BusConnection::open().value());
}

/// The process that owns a name on the bus, 0 if there is none. Does not start it.
inline pid_t ownerOf(const std::string& name, BusConnection& bus)
{
    return static_cast<pid_t>(
        askBus<std::uint32_t>(bus, "GetConnectionUnixProcessID", name).value_or(0));
}

inline pid_t ownerOf(const std::string& name)
{
    return ownerOf(name, *joinBus());
}

/// The name that a process has on a bus; empty when it has none.
inline std::string nameOf(pid_t process, BusConnection& bus)
{
    auto question = bus.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "ListNames");
    auto answer = bus.call(question);
    std::vector<std::string> names;
    EXPECT_TRUE(answer && answer.value().read(names));
    for (const std::string& name : names)
        if (name.starts_with(":") && ownerOf(name, bus) == process)
            return name;
    return {};
}

inline pid_t helperProcess()
{
    return ownerOf(helperName);
}

/// Kills the helper, if one runs.
inline void killHelper()
{
    if (const pid_t helper = helperProcess()) {
        ::kill(helper, SIGKILL);
        while (helperProcess() == helper)
            std::this_thread::sleep_for(std::chrono::milliseconds{2});
    }
}

/// A number behind a name in /proc/PID/status.
inline long statusOf(pid_t pid, const std::string& name)
{
    std::ifstream status{"/proc/" + std::to_string(pid) + "/status"};
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":"))
            return std::stol(line.substr(name.size() + 1));
    return -1;
}

inline long descriptorsOf(pid_t pid)
{
    std::error_code ignored; // a process that has ended has none
    const std::filesystem::directory_iterator entries{"/proc/" + std::to_string(pid) + "/fd",
                                                      ignored};
    return std::distance(begin(entries), end(entries));
}

/// Whether something becomes true in time; for things that nothing announces.
template <typename Condition>
bool becomesTrue(const Condition& condition,
                 std::chrono::milliseconds patience = std::chrono::seconds{20})
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds{2});
    }
    return true;
}

/// Whether a process ends in time; it need not be a child.
inline bool ends(pid_t pid, std::chrono::milliseconds patience = std::chrono::seconds{20})
{
    const PidFd process = PidFd::open(pid);
    return !process || !process.isAliveAfter(patience);
}

/// Starts another bus in the place of one that is gone, as on-system-bus started the first.
inline void startBus()
{
    outputOf("(env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin dbus-daemon --system --nofork "
             "--nopidfile --nosyslog </dev/null >>/run/bus.log 2>&1 &)");
    EXPECT_TRUE(becomesTrue([] { return static_cast<bool>(BusConnection::open()); }));
}

inline std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream{path}.rdbuf();
    return std::move(content).str();
}

/// Everything that helpers have logged that the bus started here: they write where the bus writes.
inline std::string logOfTheBussHelpers()
{
    std::string lines;
    std::istringstream all{contentOf("/run/bus.log")};
    for (std::string line; std::getline(all, line);)
        if (!line.starts_with("dbus-daemon["))
            lines += line + "\n";
    return lines;
}

/// Where the test's lines start: the size of that log or, under systemd, the time in microseconds.
inline std::int64_t helperLogStart = 0;

inline void startHelperLog()
{
    using namespace std::chrono;
    if (isUnderSystemd()) {
        outputOf("journalctl --sync");
        helperLogStart =
            duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    } else {
        helperLogStart = static_cast<std::int64_t>(logOfTheBussHelpers().size());
    }
}

/// What helpers have logged since the test started.
inline std::string helperLog()
{
    if (!isUnderSystemd())
        return logOfTheBussHelpers().substr(static_cast<std::size_t>(helperLogStart));
    const std::string fraction = std::to_string(1'000'000 + helperLogStart % 1'000'000).substr(1);
    return outputOf("journalctl --sync; journalctl -q -b -o cat --no-pager --since=@" +
                    std::to_string(helperLogStart / 1'000'000) + "." + fraction +
                    " _SYSTEMD_UNIT=veltra-agentmonitor-helper.service");
}

/// Replaces the installed helper with another program.
inline void installHelper(const std::string& program)
{
    std::filesystem::remove(helperPath);
    std::filesystem::copy_file(programs + program, helperPath);
}

} // namespace veltra
