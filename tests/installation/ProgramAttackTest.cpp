// What a user's other programs can take out of the program that he runs.
#include "tests/installation/InstallationTesting.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/syscall.h>
#include <sys/wait.h>

using namespace veltra;

namespace {

constexpr uid_t user = 65534;

bool isOnBus(pid_t process)
{
    const auto bus = joinBus();
    auto question = bus->methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                    "org.freedesktop.DBus", "ListNames");
    auto answer = bus->call(question);
    std::vector<std::string> names;
    EXPECT_TRUE(answer && answer.value().read(names));
    return std::ranges::any_of(
        names, [&](const std::string& name) { return ownerOf(name, *bus) == process; });
}

/// As the user: how taking a descriptor out of a process ends, 0 or an error number.
int errorOfTaking(int descriptor, pid_t process)
{
    const pid_t thief = ::fork();
    if (thief == 0) {
        if (::setresgid(user, user, user) != 0 || ::setresuid(user, user, user) != 0)
            ::_exit(255);
        const auto pidfd = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
        const long taken = ::syscall(SYS_pidfd_getfd, pidfd, descriptor, 0);
        ::_exit(taken < 0 ? errno : 0);
    }
    int status = 0;
    ::waitpid(thief, &status, 0);
    return WEXITSTATUS(status);
}

std::vector<int> descriptorsIn(pid_t process)
{
    std::vector<int> found;
    for (const auto& entry :
         std::filesystem::directory_iterator{"/proc/" + std::to_string(process) + "/fd"})
        found.push_back(std::stoi(entry.path().filename()));
    return found;
}

} // namespace

TEST(ProgramAttack, ItsConnectionsCannotBeTakenByAnotherProgramOfTheUser)
{
    ClientProgram other{asNobody({"cat"})};
    other.tell("ready");
    ASSERT_EQ(other.line(), "ready");
    if (errorOfTaking(0, other.pid()) != 0)
        GTEST_SKIP() << "for want of a kernel that lets users take descriptors at all";
    ClientProgram program{asNobody({"env", "QT_QPA_PLATFORM=offscreen", "HOME=/tmp",
                                    bundle + "Linux/VeltraAgentStatusMonitor"})};
    ASSERT_TRUE(becomesTrue([&] { return isOnBus(program.pid()); }));

    const std::vector<int> descriptors = descriptorsIn(program.pid());

    EXPECT_GT(descriptors.size(), 5U);
    for (const int descriptor : descriptors)
        EXPECT_EQ(errorOfTaking(descriptor, program.pid()), EPERM) << descriptor;
}
