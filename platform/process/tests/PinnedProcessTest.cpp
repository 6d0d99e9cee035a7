#include "platform/process/PinnedProcess.h"

#include "platform/base/tests/SleepingProcess.h"
#include "platform/process/tests/PinnedProcessTesting.h"
#include "platform/process/tests/Tracer.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <ios>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace veltra {
namespace {

std::string contentOf(const Fd& file)
{
    std::string content(
        static_cast<std::size_t>(fs::file_size("/proc/self/fd/" + std::to_string(file.get()))),
        '\0');
    EXPECT_EQ(::pread(file.get(), content.data(), content.size(), 0),
              static_cast<ssize_t>(content.size()));
    return content;
}

TEST_F(PinnedProcessTest, HasNothingAgainstAnHonestProcess)
{
    if (isOnNosuidMount(rootsProgram))
        GTEST_SKIP() << "for want of system programs on a mount without nosuid";
    const AnsweringProcess process{rootsProgram};

    const PinnedProcess pinned = pin(process);

    EXPECT_EQ(objectionTo(pinned), none);
    EXPECT_EQ(changeOf(pinned), none);
}

TEST_F(PinnedProcessTest, HasNothingAgainstAnHonestProcessOfAnotherUser)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can be two users";
    if (isOnNosuidMount(rootsProgram))
        GTEST_SKIP() << "for want of system programs on a mount without nosuid";
    const AnsweringProcess process{rootsProgram, {.user = nobody}};

    const PinnedProcess pinned = pin(process);

    EXPECT_EQ(objectionTo(pinned, nobody), none);
    EXPECT_EQ(changeOf(pinned), none);
}

TEST_F(PinnedProcessTest, TakesAProcessThatItIsHanded)
{
    const SleepingProcess process;

    const auto pinned = PinnedProcess::open(process.pid(), PidFd::open(process.pid()));

    ASSERT_TRUE(pinned);
    EXPECT_EQ(pinned.value().pid(), process.pid());
    EXPECT_EQ(changeOf(pinned.value()), none);
}

TEST_F(PinnedProcessTest, TakesNoProcessThatIsAnotherThanItsNumberSays)
{
    const SleepingProcess process;
    const SleepingProcess other;

    const auto pinned = PinnedProcess::open(process.pid(), PidFd::open(other.pid()));

    ASSERT_FALSE(pinned);
    EXPECT_EQ(pinned.error().message(),
              "pin process " + std::to_string(process.pid()) + ": No such process");
}

TEST_F(PinnedProcessTest, HoldsTheProcessAndItsExecutable)
{
    const std::string path = program();
    const AnsweringProcess process{path};

    const PinnedProcess pinned = pin(process);
    fs::rename(copy(VELTRA_TEST_ODD_LIBRARY, "other"), path);

    EXPECT_EQ(pinned.pid(), process.pid());
    EXPECT_EQ(contentOf(pinned.executable()),
              contentOf(Fd{::open(rootsProgram.c_str(), O_RDONLY | O_CLOEXEC)}));
}

TEST_F(PinnedProcessTest, EndsTheProcess)
{
    const SleepingProcess process;
    const PinnedProcess pinned = std::move(PinnedProcess::open(process.pid()).value());

    EXPECT_TRUE(pinned.end(std::chrono::seconds{20}));
    EXPECT_TRUE(pinned.end(std::chrono::seconds{20}));
}

TEST_F(PinnedProcessTest, WaitsNoLongerForTheEndThanItIsTold)
{
    const auto before = std::signal(SIGTERM, SIG_IGN);
    const SleepingProcess process;
    std::signal(SIGTERM, before);
    const PinnedProcess pinned = std::move(PinnedProcess::open(process.pid()).value());

    EXPECT_FALSE(pinned.end(std::chrono::milliseconds{50}));
}

TEST_F(PinnedProcessTest, CannotBeOpenedOnAProcessThatIsGone)
{
    AnsweringProcess process{rootsProgram};
    const pid_t pid = process.pid();
    process.kill();
    process.reap();

    const auto pinned = PinnedProcess::open(pid);

    ASSERT_FALSE(pinned);
    EXPECT_EQ(pinned.error().code(), std::errc::no_such_process);
    EXPECT_EQ(pinned.error().message(), "pin process " + std::to_string(pid) + ": No such process");
}

TEST_F(PinnedProcessTest, CannotBeOpenedOnAProcessThatHasEndedAndIsStillThere)
{
    const AnsweringProcess process{rootsProgram};
    process.kill();

    EXPECT_FALSE(PinnedProcess::open(process.pid()));
}

TEST_F(PinnedProcessTest, CannotBeOpenedOnWhatIsNoNumberOfAProcess)
{
    EXPECT_FALSE(PinnedProcess::open(0));
    EXPECT_FALSE(PinnedProcess::open(-1));
}

TEST_F(PinnedProcessTest, CannotBeOpenedByAUserWhoMayNotLookAtTheProcess)
{
    struct stat first {};
    if (!isRoot() && (::stat("/proc/1", &first) != 0 || first.st_uid == ::geteuid()))
        GTEST_SKIP() << "for want of a process of another user";

    const int result = runInChild([] {
        if (isRoot() && ::setresuid(nobody, nobody, nobody) != 0)
            return 1;
        const auto pinned = PinnedProcess::open(1);
        return !pinned && pinned.error().code() == std::errc::permission_denied ? 0 : 2;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(PinnedProcessTest, NoticesThatTheProcessHasEnded)
{
    AnsweringProcess process{rootsProgram};
    const PinnedProcess pinned = pin(process);

    process.kill();

    EXPECT_EQ(changeOf(pinned), "it has exited");
    EXPECT_EQ(objectionTo(pinned), "it has exited");

    process.reap();

    EXPECT_EQ(changeOf(pinned), "it has exited");
    EXPECT_EQ(objectionTo(pinned), "it has exited");
}

TEST_F(PinnedProcessTest, NoticesThatTheProcessRunsAnotherExecutable)
{
    const AnsweringProcess process{sleeper()};
    const PinnedProcess pinned = pin(process);
    ASSERT_EQ(changeOf(pinned), none);

    process.tell("exec " + rootsProgram);
    ASSERT_EQ(process.ask("ready"), "ready");

    EXPECT_EQ(changeOf(pinned), "it runs another executable");
    EXPECT_EQ(objectionTo(pinned), "it runs another executable");
}

TEST_F(PinnedProcessTest, NoticesThatACopyOfTheExecutableIsAnotherOne)
{
    const AnsweringProcess process{sleeper()};
    const PinnedProcess pinned = pin(process);

    process.tell("exec " + copy(VELTRA_TEST_ODD_SLEEPER, "same"));
    ASSERT_EQ(process.ask("ready"), "ready");

    EXPECT_EQ(changeOf(pinned), "it runs another executable");
}

TEST_F(PinnedProcessTest, NoticesThatAnExecutableOfTheSameInodeIsOnAnotherFileSystem)
{
    const int result = runOnNosuidMount([this] {
        const std::string other = folder().file("other");
        fs::create_directory(other);
        const AnsweringProcess process{sleeper()};
        const PinnedProcess pinned = pin(process);
        ASSERT_EQ(::mount("none", other.c_str(), "tmpfs", 0, "mode=0755"), 0);
        const std::string same = copyWithInode(inodeOf(pinned.executable()), "other/");

        process.tell("exec " + same);
        ASSERT_EQ(process.ask("ready"), "ready");

        EXPECT_EQ(changeOf(pinned), "it runs another executable");
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount";
    EXPECT_EQ(result, 0);
}

TEST_F(PinnedProcessTest, ObjectsToAnExecutableThatWasDeleted)
{
    const std::string path = program();
    const AnsweringProcess process{path};

    fs::remove(path);

    EXPECT_EQ(objectionTo(process), "its executable was deleted");
    EXPECT_EQ(changeOf(pin(process)), none);
}

TEST_F(PinnedProcessTest, ObjectsToAnExecutableInWhosePlaceAnotherWasPut)
{
    const std::string path = program();
    const AnsweringProcess process{path};
    const PinnedProcess pinned = pin(process);

    fs::rename(copy(rootsProgram, "other"), path);

    EXPECT_EQ(objectionTo(pinned), "its executable was deleted");
}

TEST_F(PinnedProcessTest, ObjectsToAnExecutableThatOthersMayWriteTo)
{
    const std::string path = program();
    const AnsweringProcess process{path};

    for (const unsigned mode : {0775U, 0757U}) {
        fs::permissions(path, fs::perms{mode});
        EXPECT_EQ(objectionTo(process), "others may write to its executable") << std::oct << mode;
    }
}

TEST_F(PinnedProcessTest, ObjectsToAnotherUserThanTheExpectedOne)
{
    const AnsweringProcess process{rootsProgram};

    EXPECT_EQ(objectionTo(process, ::geteuid() + 1), "it runs as another user");
}

TEST_F(PinnedProcessTest, ObjectsToAProcessThatIsOneUserAndActsAsAnother)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can be two users";
    const AnsweringProcess process{sleeper()};
    ASSERT_EQ(objectionTo(process, 0), none);
    ASSERT_EQ(process.ask("seteuid 65534"), "seteuid 65534");

    process.tell("exec " + rootsProgram);
    ASSERT_EQ(process.ask("ready"), "ready");

    EXPECT_EQ(objectionTo(process, 0), "it runs as another user");
    EXPECT_EQ(objectionTo(process, nobody), "it runs as another user");
}

TEST_F(PinnedProcessTest, ObjectsToATracerUntilItIsGone)
{
    const AnsweringProcess process{rootsProgram};
    const PinnedProcess pinned = pin(process);

    {
        const Tracer tracer{process.pid()};
        if (!tracer)
            GTEST_SKIP() << "for want of leave to trace processes";
        EXPECT_EQ(objectionTo(pinned), "it is traced");
        EXPECT_EQ(changeOf(pinned), "it is traced");
    }

    EXPECT_EQ(changeOf(pinned), none);
}

TEST_F(PinnedProcessTest, ObjectsToATracerOfAnyThread)
{
    const AnsweringProcess process{sleeper()};
    const PinnedProcess pinned = pin(process);
    ASSERT_EQ(process.ask("thread"), "thread");
    ASSERT_EQ(changeOf(pinned), none);

    for (const auto& thread :
         fs::directory_iterator{"/proc/" + std::to_string(process.pid()) + "/task"}) {
        const Tracer tracer{std::stoi(thread.path().filename())};
        if (!tracer)
            GTEST_SKIP() << "for want of leave to trace processes";
        EXPECT_EQ(changeOf(pinned), "it is traced") << thread;
    }

    EXPECT_EQ(changeOf(pinned), none);
}

TEST_F(PinnedProcessTest, ObjectsToASeccompFilter)
{
    const AnsweringProcess process{sleeper()};
    ASSERT_EQ(process.ask("seccomp"), "seccomp");

    process.tell("exec " + rootsProgram);
    ASSERT_EQ(process.ask("ready"), "ready");

    EXPECT_EQ(objectionTo(process), "it is under a seccomp filter of its own");
    EXPECT_EQ(changeOf(pin(process)), none);
}

TEST_F(PinnedProcessTest, HasNothingAgainstAFilterThatAllProcessesAreUnder)
{
    if (isOnNosuidMount(rootsProgram))
        GTEST_SKIP() << "for want of programs on a mount that is not nosuid";
    const std::string program = sleeper();
    const AnsweringProcess first{program};
    const AnsweringProcess process{program};
    for (const AnsweringProcess* filtered : {&first, &process})
        ASSERT_EQ(filtered->ask("seccomp"), "seccomp");
    process.tell("exec " + rootsProgram);
    ASSERT_EQ(process.ask("ready"), "ready");

    EXPECT_EQ(textOf(pin(process).check(
                  {.user = ::geteuid(), .busDaemon = ::getpid(), .first = first.pid()})),
              none);
}

TEST_F(PinnedProcessTest, ObjectsToAStatusThatCannotBeRead)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of leave to mount";
    const AnsweringProcess process{rootsProgram};
    const PinnedProcess pinned = pin(process);
    const std::string status = "/proc/" + std::to_string(process.pid()) + "/status";

    const int result = runInChild([&] {
        if (!enterOwnMounts() ||
            ::mount("/dev/null", status.c_str(), nullptr, MS_BIND, nullptr) != 0)
            return refused;

        EXPECT_EQ(objectionTo(pinned), "its status cannot be read");
        return 0;
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount";
    EXPECT_EQ(result, 0);
}

TEST_F(PinnedProcessTest, TrustsNobodyWhenItHasTooFewDescriptorsToLook)
{
    const AnsweringProcess process{rootsProgram};
    const PinnedProcess pinned = pin(process);

    for (const rlim_t left : {0U, 1U}) {
        const int result = runInChild([&pinned, left] {
            const int next = Fd{::open("/dev/null", O_RDONLY | O_CLOEXEC)}.get();
            const rlim_t limit = static_cast<rlim_t>(next) + left;
            const rlimit tight{.rlim_cur = limit, .rlim_max = limit};
            EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);

            EXPECT_NE(objectionTo(pinned), none);
            EXPECT_NE(changeOf(pinned), none);
            return 0;
        });
        EXPECT_EQ(result, 0) << left << " left";
    }
}

TEST_F(PinnedProcessTest, ObjectsToAnOrdinaryUsersExecutableOnANosuidMount)
{
    const int result = runOnNosuidMount([this] {
        const AnsweringProcess process{program(), {.user = ordinaryUser()}};

        EXPECT_EQ(objectionTo(process, ordinaryUser()), "its executable is on a nosuid mount");
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount";
    EXPECT_EQ(result, 0);
}

TEST_F(PinnedProcessTest, HasNothingAgainstRootsExecutableOnANosuidMount)
{
    if (!isRoot())
        GTEST_SKIP() << "for want of root: nobody else can have processes of root";
    const int result = runOnNosuidMount([this] {
        const AnsweringProcess process{program()};

        EXPECT_EQ(objectionTo(process), none);
    });

    if (result == refused)
        GTEST_SKIP() << "for want of leave to mount";
    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
