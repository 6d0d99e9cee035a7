#include "platform/kqueue/tests/InotifyQueueTesting.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace veltra {

namespace {

using Reports = std::vector<Report>;

class InotifyFiles : public InotifyQueueTest {
  protected:
    InotifyFiles()
    {
        folder_.write("log", "0123456789");
        // Old times, so that every change is visible even if the file system's clock is coarse.
        setTimes("log", 1'000'000);
    }

    void setTimes(const std::string& name, time_t seconds) const
    {
        const std::array<timespec, 2> times{{{seconds, 0}, {seconds, 0}}};
        ASSERT_EQ(utimensat(AT_FDCWD, path(name).c_str(), times.data(), 0), 0);
    }

    [[nodiscard]] Fd openFile(const std::string& name, int flags) const
    {
        Fd file{open(path(name).c_str(), flags | O_CLOEXEC)};
        EXPECT_TRUE(file);
        return file;
    }

    void openAndClose(const std::string& name, int flags) const
    {
        const Fd file = openFile(name, flags);
    }

    void exchange(const std::string& one, const std::string& other) const
    {
        ASSERT_EQ(
            renameat2(AT_FDCWD, path(one).c_str(), AT_FDCWD, path(other).c_str(), RENAME_EXCHANGE),
            0);
    }
};

} // namespace

TEST_F(InotifyFiles, AppendingWritesAndExtends)
{
    EXPECT_EQ(changesOf("log", [&] { folder_.append("log", "x"); }), NOTE_WRITE | NOTE_EXTEND);
}

TEST_F(InotifyFiles, OverwritingInPlaceWrites)
{
    const Fd file = openFile("log", O_WRONLY);

    EXPECT_EQ(changesOf("log", [&] { EXPECT_EQ(pwrite(file.get(), "abc", 3, 2), 3); }), NOTE_WRITE);
}

TEST_F(InotifyFiles, ShrinkingWritesAndGrowingExtends)
{
    EXPECT_EQ(changesOf("log", [&] { EXPECT_EQ(truncate(path("log").c_str(), 4), 0); }),
              NOTE_WRITE);
    EXPECT_EQ(changesOf("log", [&] { EXPECT_EQ(truncate(path("log").c_str(), 40), 0); }),
              NOTE_WRITE | NOTE_EXTEND);
}

TEST_F(InotifyFiles, OpeningWithTruncationWrites)
{
    EXPECT_EQ(changesOf("log", [&] { openAndClose("log", O_WRONLY | O_TRUNC); }), NOTE_WRITE);
}

TEST_F(InotifyFiles, ReplacingTheContentsByMoreExtends)
{
    EXPECT_EQ(changesOf("log", [&] { folder_.write("log", "0123456789ab"); }),
              NOTE_WRITE | NOTE_EXTEND);
}

TEST_F(InotifyFiles, AWriterThatWritesNothingChangesNothing)
{
    EXPECT_EQ(changesOf("log", [&] { openAndClose("log", O_RDWR); }), 0U);
}

TEST_F(InotifyFiles, ReadingChangesNothing)
{
    const auto read = [&] { std::ifstream{path("log")}.get(); };

    EXPECT_EQ(changesOf("log", read), 0U);
}

TEST_F(InotifyFiles, WritingThroughAMappingWrites)
{
    const auto writeMapped = [&] {
        const Fd file = openFile("log", O_RDWR);
        void* memory = mmap(nullptr, 10, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
        ASSERT_NE(memory, MAP_FAILED);
        static_cast<char*>(memory)[0] = 'x';
        msync(memory, 10, MS_SYNC);
        munmap(memory, 10);
    };

    EXPECT_EQ(changesOf("log", writeMapped), NOTE_WRITE);
}

TEST_F(InotifyFiles, ModeAndTimesAreAttributes)
{
    EXPECT_EQ(changesOf("log", [&] { chmod(path("log").c_str(), 0640); }), NOTE_ATTRIB);
    EXPECT_EQ(changesOf("log", [&] { chmod(path("log").c_str(), 0640); }), NOTE_ATTRIB);
    EXPECT_EQ(changesOf("log", [&] { setTimes("log", 2'000'000); }), NOTE_ATTRIB);
}

TEST_F(InotifyFiles, TouchingThroughAWriterIsAnAttribute)
{
    const auto touch = [&] {
        const Fd file = openFile("log", O_WRONLY);
        ASSERT_EQ(futimens(file.get(), nullptr), 0);
    };

    EXPECT_EQ(changesOf("log", touch), NOTE_ATTRIB);
}

TEST_F(InotifyFiles, ExtendedAttributesAreAttributes)
{
    int result = 0;
    const auto tag = [&] { result = setxattr(path("log").c_str(), "user.veltra", "x", 1, 0); };

    const auto changes = changesOf("log", tag);

    if (result != 0)
        GTEST_SKIP() << "for want of a file system with extended attributes";
    EXPECT_EQ(changes, NOTE_ATTRIB);
}

TEST_F(InotifyFiles, RenamingRenames)
{
    makeFolder("archive");

    EXPECT_EQ(changesOf("log", [&] { rename("log", "log.1"); }), NOTE_RENAME);
    EXPECT_EQ(changesOf("log.1", [&] { rename("log.1", "archive/log.1"); }), NOTE_RENAME);
}

TEST_F(InotifyFiles, FollowsAFileThroughItsRename)
{
    watch("log");
    rename("log", "log.1");
    const auto renamed = reports();

    folder_.append("log.1", "x");

    EXPECT_EQ(renamed, (Reports{{"log", NOTE_RENAME}}));
    EXPECT_EQ(reports(), (Reports{{"log", NOTE_WRITE | NOTE_EXTEND}}));
}

TEST_F(InotifyFiles, ExchangingRenamesBoth)
{
    watch("log");
    watch("other");

    exchange("log", "other");

    const auto all = reports();
    EXPECT_EQ(all.size(), 2U);
    EXPECT_EQ(std::ranges::count(all, NOTE_RENAME, &Report::fflags), 2);
}

TEST_F(InotifyFiles, RenamingTheParentChangesNothing)
{
    makeFolder("parent");
    folder_.write("parent/log", "");

    EXPECT_EQ(changesOf("parent/log", [&] { rename("parent", "renamed"); }), 0U);
}

TEST_F(InotifyFiles, HardLinksAreLinks)
{
    const auto add = [&] { EXPECT_EQ(link(path("log").c_str(), path("second").c_str()), 0); };

    EXPECT_EQ(changesOf("log", add), NOTE_LINK);
    EXPECT_EQ(changesOf("log", [&] { remove("second"); }), NOTE_LINK);
}

TEST_F(InotifyFiles, RemovingTheLastNameDeletes)
{
    EXPECT_EQ(changesOf("log", [&] { remove("log"); }), NOTE_DELETE);
}

TEST_F(InotifyFiles, DeletesOnceAFileThatIsHeldElsewhere)
{
    watch("log");
    Fd holder = openFile("log", O_RDONLY);
    remove("log");
    const auto removed = reports();

    holder = {};
    const auto released = reports();

    EXPECT_EQ(removed, (Reports{{"log", NOTE_DELETE}}));
    EXPECT_EQ(released, Reports{});
}

TEST_F(InotifyFiles, StillSeesWritesToADeletedFile)
{
    watch("log");
    const Fd writer = openFile("log", O_WRONLY | O_APPEND);
    remove("log");
    const auto removed = reports();

    EXPECT_EQ(write(writer.get(), "x", 1), 1);

    EXPECT_EQ(removed, (Reports{{"log", NOTE_DELETE}}));
    EXPECT_EQ(reports(), (Reports{{"log", NOTE_WRITE | NOTE_EXTEND}}));
}

TEST_F(InotifyFiles, BeingReplacedByARenameDeletes)
{
    folder_.write("new", "");

    EXPECT_EQ(changesOf("log", [&] { rename("new", "log"); }), NOTE_DELETE);
}

TEST_F(InotifyFiles, MergesDifferentChanges)
{
    const auto rotate = [&] {
        folder_.append("log", "x");
        chmod(path("log").c_str(), 0600);
        rename("log", "log.1");
        remove("log.1");
    };

    EXPECT_EQ(changesOf("log", rotate) & ~NOTE_ATTRIB,
              NOTE_WRITE | NOTE_EXTEND | NOTE_RENAME | NOTE_DELETE);
}

TEST_F(InotifyFiles, MakesOneEventOfAThousandAppends)
{
    watch("log");

    for (int i = 0; i < 1000; ++i)
        folder_.append("log", "x");

    EXPECT_EQ(reports(), (Reports{{"log", NOTE_WRITE | NOTE_EXTEND}}));
}

TEST_F(InotifyFiles, ReportsEveryWatchThatOneReadTellsOf)
{
    Reports expected;
    for (int i = 0; i < 100; ++i) {
        const std::string name = "file" + std::to_string(i);
        watch(name);
        expected.push_back({name, NOTE_WRITE | NOTE_EXTEND});
    }

    for (const Report& report : expected)
        folder_.append(report.name, "x");

    EXPECT_EQ(reports(), expected);
}

TEST_F(InotifyFiles, ServesTwoNamesOfOneFileByOneKernelWatch)
{
    ASSERT_EQ(link(path("log").c_str(), path("second").c_str()), 0);
    watch("log");
    watch("second", NOTE_WRITE);
    const auto watchesOfBoth = kernelWatches();

    folder_.append("second", "x");
    const auto ofBoth = reports();
    unwatch("log");
    folder_.append("log", "x");
    const auto ofOne = reports();
    unwatch("second");

    EXPECT_EQ(watchesOfBoth, 1);
    EXPECT_EQ(ofBoth, (Reports{{"log", NOTE_WRITE | NOTE_EXTEND}, {"second", NOTE_WRITE}}));
    EXPECT_EQ(ofOne, (Reports{{"second", NOTE_WRITE}}));
    EXPECT_EQ(kernelWatches(), 0);
}

TEST_F(InotifyFiles, SeesAFileThatWasDeletedBeforeItWasWatched)
{
    const Fd writer = openFile("log", O_WRONLY | O_APPEND);
    const auto name = std::make_shared<std::string>("gone");
    remove("log");

    const auto registration = queue_->watch(writer.get(), everyNote, name);
    ASSERT_TRUE(registration);
    EXPECT_EQ(write(writer.get(), "x", 1), 1);

    EXPECT_EQ(reports(), (Reports{{"gone", NOTE_WRITE | NOTE_EXTEND}}));
}

TEST_F(InotifyFiles, RefusesADescriptorThatIsNotOpen)
{
    const auto registration = queue_->watch(-1, everyNote, {});

    ASSERT_FALSE(registration);
    EXPECT_EQ(registration.error().code(), std::errc::bad_file_descriptor);
    EXPECT_EQ(kernelWatches(), 0);
}

} // namespace veltra
