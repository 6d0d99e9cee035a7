#include "platform/base/tests/ForkedChild.h"
#include "platform/kqueue/tests/InotifyQueueTesting.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

using Reports = std::vector<Report>;

constexpr int notPermitted = 77;

std::ptrdiff_t openDescriptors()
{
    return std::ranges::distance(std::filesystem::directory_iterator{"/proc/self/fd"},
                                 std::filesystem::directory_iterator{});
}

int queueLimit()
{
    int limit = 0;
    std::ifstream{"/proc/sys/fs/inotify/max_queued_events"} >> limit;
    return limit;
}

// Only in a child: afterwards the process can read only what everybody can.
void becomeOrdinaryUser()
{
    if (geteuid() != 0)
        return;

    constexpr uid_t nobody = 65534;
    if (setgroups(0, nullptr) != 0 || setresgid(nobody, nobody, nobody) != 0 ||
        setresuid(nobody, nobody, nobody) != 0)
        throw std::runtime_error{"cannot become another user"};
}

// Only in a child: mounts an empty file system that nobody else sees.
bool mountPrivately(const std::string& path)
{
    if (unshare(CLONE_NEWNS) != 0)
        return false;

    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", path.c_str(), "tmpfs", 0, "size=1m") == 0;
}

class InotifyLimits : public InotifyQueueTest {
  protected:
    [[nodiscard]] int queuedBytes() const
    {
        int bytes = 0;
        EXPECT_EQ(ioctl(queue_->descriptor(), FIONREAD, &bytes), 0);
        return bytes;
    }

    // Events found after an overflow have no order; the fence may be anywhere among them.
    [[nodiscard]] Reports reportsOfOverflow() const
    {
        Reports all = reports();
        const Reports rest = reports();
        all.insert(all.end(), rest.begin(), rest.end());
        return all;
    }

    // Two kinds of records alternate, because the kernel merges repeated ones.
    void fillQueue(int limit)
    {
        watch("noise");
        const Fd noise{open(path("noise").c_str(), O_WRONLY | O_CLOEXEC)};
        for (int i = 0; i <= limit / 2; ++i) {
            ASSERT_EQ(pwrite(noise.get(), "x", 1, 0), 1);
            ASSERT_EQ(fchmod(noise.get(), 0600), 0);
        }
    }
};

} // namespace

TEST_F(InotifyLimits, FindsEverythingThatHappenedDuringAnOverflow)
{
    const int limit = queueLimit();
    if (limit > 1'000'000)
        GTEST_SKIP() << "for want of a queue in the kernel that can be filled: " << limit;
    for (const char* name : {"folder", "gone", "parent", "renamed", "target"})
        makeFolder(name);
    for (const char* name : {"grown", "deleted", "chmodded", "linked", "moved", "untouched",
                             "parent/child", "folder", "gone", "renamed"})
        watch(name);
    fillQueue(limit);
    const int full = queuedBytes();

    folder_.append("grown", "x");
    remove("deleted");
    chmod(path("chmodded").c_str(), 0755);
    ASSERT_EQ(link(path("linked").c_str(), path("link").c_str()), 0);
    rename("moved", "moved.1");
    rename("parent", "parent.1");
    folder_.write("folder/new", "");
    remove("gone");
    rename("renamed", "target/renamed");
    const bool hasOverflown = queuedBytes() == full;
    auto all = reportsOfOverflow();

    EXPECT_TRUE(hasOverflown);
    std::erase_if(all, [](const Report& report) { return report.name == "noise"; });
    std::ranges::sort(all, {}, &Report::name);
    EXPECT_EQ(all, (Reports{{"chmodded", NOTE_ATTRIB},
                            {"deleted", NOTE_DELETE},
                            {"folder", NOTE_WRITE},
                            {"gone", NOTE_DELETE},
                            {"grown", NOTE_WRITE | NOTE_EXTEND},
                            {"linked", NOTE_LINK},
                            {"moved", NOTE_RENAME},
                            {"renamed", NOTE_RENAME}}));
}

TEST_F(InotifyLimits, GoesOnWatchingAfterAnOverflow)
{
    const int limit = queueLimit();
    if (limit > 1'000'000)
        GTEST_SKIP() << "for want of a queue in the kernel that can be filled: " << limit;
    makeFolder("folder");
    makeFolder("target");
    watch("file");
    watch("folder");
    fillQueue(limit);
    rename("folder", "target/folder");
    const auto duringOverflow = reportsOfOverflow();

    folder_.append("file", "x");
    remove("target/folder");

    EXPECT_EQ(std::ranges::count(duringOverflow, "folder", &Report::name), 1);
    EXPECT_EQ(reports(), (Reports{{"file", NOTE_WRITE | NOTE_EXTEND}, {"folder", NOTE_DELETE}}));
}

TEST_F(InotifyLimits, LeavesNothingBehindAfterAThousandRegistrations)
{
    makeFolder("d");
    watch("d");
    watch("a");
    watches_.clear();
    const auto before = openDescriptors();

    for (int round = 0; round < 1000; ++round) {
        watch("d");
        watch("a");
        rename("d", "e");
        rename("e", "d");
        EXPECT_EQ(reports(), (Reports{{"d", NOTE_RENAME}}));
        watches_.clear();
    }

    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(kernelWatches(), 0);
}

TEST_F(InotifyLimits, LeavesNothingBehindWhenTheQueueGoes)
{
    const auto before = openDescriptors();

    for (int round = 0; round < 10; ++round) {
        auto queue = KernelQueue::open();
        ASSERT_TRUE(queue);
        const auto watch = watchPath(*queue.value(), folder_.path(), "folder", everyNote);
    }

    EXPECT_EQ(openDescriptors(), before);
}

namespace {

// Only in a child: sets a limit of a user namespace of its own.
bool setLimit(const std::string& name, int value)
{
    if (unshare(CLONE_NEWUSER) != 0)
        return false;

    std::ofstream file{"/proc/sys/user/" + name};
    file << value << std::flush;
    return file.good();
}

} // namespace

TEST_F(InotifyLimits, NamesTheLimitWhenTheInstancesAreUsedUp)
{
    const int result = runInChild([] {
        if (!setLimit("max_inotify_instances", 0))
            return notPermitted;

        const auto queue = KernelQueue::open();
        EXPECT_FALSE(queue);
        EXPECT_EQ(queue.error().message(),
                  "make inotify instance (the limit is fs.inotify.max_user_instances): Too many "
                  "open files");
        return 0;
    });

    if (result == notPermitted)
        GTEST_SKIP() << "for want of leave to have a user namespace";
    EXPECT_EQ(result, 0);
}

TEST_F(InotifyLimits, NamesTheLimitWhenTheWatchesAreUsedUp)
{
    folder_.write("file", "");
    const Fd file = openPath(path("file"));

    const int result = runInChild([&] {
        if (!setLimit("max_inotify_watches", 0))
            return notPermitted;

        const auto queue = KernelQueue::open();
        EXPECT_TRUE(queue);
        const auto refused = queue.value()->watch(file.get(), everyNote, {});
        EXPECT_FALSE(refused);
        EXPECT_EQ(refused.error().message(),
                  "watch descriptor " + std::to_string(file.get()) +
                      " (the limit is fs.inotify.max_user_watches): No space left on device");
        return 0;
    });

    if (result == notPermitted)
        GTEST_SKIP() << "for want of leave to have a user namespace";
    EXPECT_EQ(result, 0);
}

TEST_F(InotifyLimits, RefusesAFileThatMayNotBeRead)
{
    folder_.write("secret", "");
    folder_.write("public", "");
    chmod(path("secret").c_str(), 0);
    chmod(path("public").c_str(), 0444);
    const Fd secret = openPath(path("secret"));
    const Fd open = openPath(path("public"));

    const int result = runInChild([&] {
        becomeOrdinaryUser();
        const auto refused = queue_->watch(secret.get(), everyNote, {});
        const auto granted = queue_->watch(open.get(), everyNote, {});
        EXPECT_FALSE(refused);
        EXPECT_EQ(refused.error().code(), std::errc::permission_denied);
        EXPECT_TRUE(granted);
        EXPECT_EQ(kernelWatches(), 1);
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(InotifyLimits, DoesWithoutAParentThatMayNotBeRead)
{
    makeFolder("parent");
    makeFolder("parent/d");
    chmod(path("parent/d").c_str(), 0777);
    chmod(path("parent").c_str(), 0311);
    const Fd held = openPath(path("parent/d"));

    const int result = runInChild([&] {
        becomeOrdinaryUser();
        const auto name = std::make_shared<std::string>("d");
        const auto registration = queue_->watch(held.get(), everyNote, name);
        EXPECT_TRUE(registration);
        EXPECT_EQ(kernelWatches(), 1);
        EXPECT_EQ(mkdirat(held.get(), "sub", 0700), 0);
        EXPECT_EQ(nextReport(*queue_), (Report{"d", NOTE_WRITE | NOTE_LINK}));
        return 0;
    });

    EXPECT_EQ(result, 0);
}

TEST_F(InotifyLimits, RevokesWhatIsUnmounted)
{
    makeFolder("mount");

    const int result = runInChild([&] {
        if (!mountPrivately(path("mount")))
            return notPermitted;

        folder_.write("mount/file", "");
        NamedWatch watch = watchPath(*queue_, path("mount/file"), "file", everyNote);
        watch.descriptor = {}; // a file system that is in use is not unmounted
        EXPECT_EQ(umount(path("mount").c_str()), 0);
        EXPECT_EQ(nextReport(*queue_), (Report{"file", NOTE_REVOKE}));
        watch.registration.setFlags(NOTE_WRITE);
        watch.registration = {};
        EXPECT_EQ(kernelWatches(), 0);
        return 0;
    });

    if (result == notPermitted)
        GTEST_SKIP() << "for want of leave to mount";
    EXPECT_EQ(result, 0);
}

} // namespace veltra
