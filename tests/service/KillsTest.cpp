// What is lost and what is left over when parts of the system are killed.
#include "tests/service/ServiceTesting.h"

#include <array>
#include <map>
#include <random>
#include <set>

using namespace veltra;
using namespace std::chrono_literals;

namespace {

constexpr auto patience = 60s;

/// Part of the system that is killed, by the name that it has on the bus.
struct Victim {
    std::string name;
    std::string commandLine; ///< how it starts

    bool operator==(const Victim&) const = default;
};

const Victim helperVictim{helperName, helperPath};
const Victim polkitVictim{"org.freedesktop.PolicyKit1", "/usr/lib/polkit-1/polkitd "};
const Victim busVictim{"org.freedesktop.DBus",
                       isUnderSystemd() ? "/usr/bin/dbus-daemon " : "dbus-daemon "};

// No command needs it, but it may be asked at any time.
const std::string askPolkit =
    "busctl call org.freedesktop.PolicyKit1 / org.freedesktop.DBus.Peer Ping";

/// The processes whose command lines start so, with these.
std::map<pid_t, std::string> processesOf(const std::string& commandLine)
{
    std::map<pid_t, std::string> processes;
    for (const auto& entry : std::filesystem::directory_iterator{"/proc"}) {
        std::string words = contentOf(entry.path() / "cmdline");
        std::ranges::replace(words, '\0', ' ');
        if (words.starts_with(commandLine))
            processes[std::stoi(entry.path().filename())] = words;
    }
    return processes;
}

bool isPolkitHere()
{
    return std::filesystem::exists("/usr/lib/polkit-1/polkitd");
}

/// The units of tools that run or that systemd has not taken away. A dead one does not count: newer
/// versions of systemd may keep one that was referenced over a bus that was killed.
std::string unitsOfTools()
{
    return outputOf("systemctl list-units --plain --no-legend 'veltra-agent-tool*'");
}

/// Somebody who sends commands, each on a connection of its own, as the program's buttons do.
class User {
  public:
    User(const Words& command, std::string name) : client_{command}, name_{std::move(name)} {}

    [[nodiscard]] pid_t process() const { return client_.pid(); }

    /// What the callers of all commands were told: "exit" and a status, or "failed".
    [[nodiscard]] const std::map<std::string, std::string>& told() const { return told_; }

    [[nodiscard]] const std::set<std::string>& underWay() const { return underWay_; }

    [[nodiscard]] bool isToldOfTheEndOf(const std::string& connection) const
    {
        return ended_.contains(connection);
    }

    /// Sends a command that leaves its name in a file, which is also its connection's name.
    std::string send()
    {
        const std::array endings{"", "; echo said", "; sleep 0.02", "; echo said; sleep 0.05"};
        const std::string command = name_ + std::to_string(++last_);
        client_.tell("connect " + command);
        client_.tell("run " + command + " echo " + command + " >>/tmp/ran" +
                     endings.at(last_ % endings.size()));
        underWay_.insert(command);
        return command;
    }

    /// Takes a line that the client prints, if it does so in the next moment.
    void listen()
    {
        const std::string line = client_.line(2ms);
        if (line == "<nothing in time>")
            return;
        std::istringstream words{line};
        std::string command;
        std::string what;
        words >> command >> what >> std::ws;
        if (what == "ended") {
            ended_.insert(command);
        } else if (what == "exit" || what == "failed") {
            EXPECT_EQ(underWay_.erase(command), 1U) << line;
            told_[command] = line.substr(command.size() + 1);
        } else {
            ASSERT_TRUE(what == "out" || what == "err") << line;
        }
    }

  private:
    Client client_;
    std::string name_;
    std::size_t last_ = 0;
    std::set<std::string> underWay_;
    std::map<std::string, std::string> told_;
    std::set<std::string> ended_;
};

struct Size {
    long threads = 0;
    long descriptors = 0;

    static Size of(pid_t process) { return {statusOf(process, "Threads"), descriptorsOf(process)}; }

    /// But for what the log takes, from its first line on.
    [[nodiscard]] bool isNoMoreThan(const Size& other) const
    {
        return threads <= other.threads + 1 && descriptors <= other.descriptors + 1;
    }
};

/// Two users who send commands without a pause, while parts of the system are killed.
class Storm {
  public:
    /// Both users go on until something is so, or patience is at an end.
    template <typename Condition>
    bool rageUntil(const Condition& condition)
    {
        return becomesTrue(
            [&] {
                for (User& user : users_) {
                    while (isSending_ && user.underWay().size() < 2)
                        user.send();
                    user.listen();
                }
                return condition();
            },
            patience);
    }

    void rageFor(std::chrono::milliseconds time)
    {
        const auto end = std::chrono::steady_clock::now() + time;
        rageUntil([end] { return std::chrono::steady_clock::now() >= end; });
    }

    /// Kills it, some time after it is found running. Then there is a bus, and it knows of the end.
    void kill(const Victim& victim, std::chrono::milliseconds moment)
    {
        // One that has been killed is started anew.
        if (victim == polkitVictim) {
            EXPECT_EQ(outputOf(askPolkit), "");
        }
        pid_t process = 0;
        ASSERT_TRUE(rageUntil([&] {
            const auto found = processesOf(victim.commandLine);
            process = found.empty() ? 0 : found.begin()->first;
            return process != 0;
        })) << victim.name;
        rageFor(moment);
        ::kill(process, SIGKILL);
        ASSERT_TRUE(rageUntil([&] { return ends(process, 0ms); }));
        if (victim != helperVictim)
            allowNewOne(victim);
        ASSERT_TRUE(
            rageUntil([&] { return BusConnection::open() && ownerOf(victim.name) != process; }));
        areConnectionsLost_ = areConnectionsLost_ || victim != polkitVictim;
    }

    /// Every command's caller is told something, and every user's next command works.
    void recover()
    {
        isSending_ = false;
        ASSERT_TRUE(rageUntil([&] { return isAllTold(); })) << "not told: " << allUnderWay();
        ASSERT_TRUE(rageUntil([&] { return !areConnectionsLost_ || areAllToldOfTheEnd(); }));
        areConnectionsLost_ = false;
        for (std::size_t i = 0; i < users_.size(); ++i)
            proofs_[i] = users_[i].send();
        ASSERT_TRUE(rageUntil([&] { return isAllTold(); })) << "not told: " << allUnderWay();
        for (std::size_t i = 0; i < users_.size(); ++i)
            EXPECT_EQ(users_[i].told().at(proofs_[i]), "exit 0") << proofs_[i];
        isSending_ = true;
    }

    [[nodiscard]] const std::array<User, 2>& users() const { return users_; }

  private:
    /// By itself, systemd starts nothing more than five times in ten seconds.
    static void allowNewOne(const Victim& victim)
    {
        if (isUnderSystemd())
            EXPECT_EQ(outputOf("systemctl reset-failed"), "");
        else if (victim == busVictim)
            startBus();
    }

    [[nodiscard]] bool isAllTold() const { return allUnderWay().empty(); }

    [[nodiscard]] std::string allUnderWay() const
    {
        std::string all;
        for (const User& user : users_)
            for (const std::string& command : user.underWay())
                all += command + " ";
        return all;
    }

    [[nodiscard]] bool areAllToldOfTheEnd() const
    {
        return users_[0].isToldOfTheEndOf(proofs_[0]) && users_[1].isToldOfTheEndOf(proofs_[1]);
    }

    std::array<User, 2> users_{User{asNobody({trusted}), "n"}, User{asSomebody({trusted}), "s"}};
    std::array<std::string, 2> proofs_; ///< the last commands that had to work
    bool areConnectionsLost_ = false;
    bool isSending_ = true;
};

/// Kills parts of the system at random moments. Now and then, the helper is killed again while it
/// starts: not under systemd, where the bus then tells its callers only after 25 seconds.
void killAtRandom(Storm& storm, int kills, unsigned seed)
{
    std::vector<const Victim*> victims{&helperVictim, &busVictim};
    if (isPolkitHere())
        victims.push_back(&polkitVictim);
    std::mt19937 random{seed};
    const auto moment = [&random] { return std::chrono::milliseconds{random() % 50}; };
    for (int done = 0; done < kills; ++done) {
        const Victim& victim = *victims.at(random() % victims.size());
        SCOPED_TRACE("kill " + std::to_string(done) + ": " + victim.name);
        storm.kill(victim, moment());
        if (!isUnderSystemd() && random() % 4 == 0 && ++done < kills)
            storm.kill(helperVictim, moment());
        storm.recover();
        if (testing::Test::HasFatalFailure())
            return;
    }
}

/// Each command ran once, or its caller was told that it failed: then it ran at most once.
void expectNothingLost(const Storm& storm)
{
    std::map<std::string, int> runs;
    std::ifstream ran{"/tmp/ran"};
    for (std::string command; std::getline(ran, command);)
        ++runs[command];
    int failed = 0;
    int commands = 0;
    for (const User& user : storm.users())
        for (const auto& [command, told] : user.told()) {
            ++commands;
            failed += told == "failed";
            EXPECT_TRUE(told == "failed" || told == "exit 0") << command << " " << told;
            EXPECT_LE(runs[command], 1) << command << " " << told;
            EXPECT_GE(runs[command], told == "failed" ? 0 : 1) << command;
        }
    // The test shows something only if the kills did hit commands.
    EXPECT_GT(failed, 0);
    EXPECT_LT(failed, commands);
}

} // namespace

TEST(Kills, LoseNoCommandAndLeaveNothingRunning)
{
    const unsigned seed = static_cast<unsigned>(std::stoul(numberFrom("VELTRA_TEST_SEED", "1")));
    const int kills = std::stoi(numberFrom("VELTRA_TEST_KILLS", "40"));
    SCOPED_TRACE("seed " + std::to_string(seed));
    const auto isGone = [](const std::string& commandLine) {
        return becomesTrue([&] { return processesOf(commandLine).empty(); }, patience);
    };

    {
        Storm storm;
        storm.recover();
        const Size helperAtFirst = Size::of(helperProcess());
        const std::array usersAtFirst{Size::of(storm.users()[0].process()),
                                      Size::of(storm.users()[1].process())};
        killAtRandom(storm, kills, seed);
        if (HasFatalFailure())
            return;

        EXPECT_TRUE(isGone("/bin/bash " + toolPath));
        if (isUnderSystemd()) {
            EXPECT_TRUE(becomesTrue([] { return unitsOfTools().empty(); }, patience))
                << unitsOfTools();
        }
        expectNothingLost(storm);
        EXPECT_EQ(processesOf(helperPath).size(), 1U);
        EXPECT_TRUE(becomesTrue(
            [&] { return Size::of(helperProcess()).isNoMoreThan(helperAtFirst); }, patience));
        for (std::size_t i = 0; i < usersAtFirst.size(); ++i)
            EXPECT_TRUE(becomesTrue(
                [&] { return Size::of(storm.users()[i].process()).isNoMoreThan(usersAtFirst[i]); },
                patience));
    }
    EXPECT_TRUE(isGone(helperPath));
}
