#include "platform/kqueue/VnodeChanges.h"

#include "platform/kqueue/KernelQueue.h"

#include <gtest/gtest.h>
#include <sys/inotify.h>

namespace veltra {

namespace {

VnodeState someFile()
{
    VnodeState file;
    file.size = 100;
    file.linkCount = 1;
    file.mode = 0100644;
    file.contentTime = 50;
    file.statusTime = 50;
    file.name = {.parentDevice = 1, .parentInode = 2, .base = "log"};
    return file;
}

VnodeState someFolder()
{
    VnodeState folder = someFile();
    folder.isFolder = true;
    folder.mode = 040755;
    return folder;
}

VnodeState written(VnodeState file, std::int64_t size)
{
    file.size = size;
    file.contentTime = file.statusTime = file.statusTime + 10;
    return file;
}

VnodeState unlinked(VnodeState file)
{
    --file.linkCount;
    file.statusTime += 10;
    return file;
}

} // namespace

TEST(VnodeHints, DropsWhatHappensInsideAnEntry)
{
    EXPECT_EQ(vnodeHints(IN_MODIFY, true), 0U);
    EXPECT_EQ(vnodeHints(IN_CLOSE_WRITE, true), 0U);
    EXPECT_EQ(vnodeHints(IN_ATTRIB | IN_ISDIR, true), 0U);
    EXPECT_EQ(vnodeHints(IN_ATTRIB | IN_ISDIR, false), VnodeHints{IN_ATTRIB});
}

TEST(VnodeHints, KeepsTheKindOfAnEntryOnlyWhereItConcernsLinks)
{
    EXPECT_EQ(vnodeHints(IN_CREATE | IN_ISDIR, true), VnodeHints{IN_CREATE | IN_ISDIR});
    EXPECT_EQ(vnodeHints(IN_DELETE | IN_ISDIR, true), VnodeHints{IN_DELETE | IN_ISDIR});
    EXPECT_EQ(vnodeHints(IN_MOVED_TO | IN_ISDIR, true), VnodeHints{IN_MOVED_TO});
    EXPECT_EQ(vnodeHints(IN_IGNORED, false), 0U);
}

TEST(VnodeChanges, ExtendsOnlyWhenTheFileGrew)
{
    const VnodeState file = someFile();

    EXPECT_EQ(vnodeChanges(IN_MODIFY, file, written(file, 101)), NOTE_WRITE | NOTE_EXTEND);
    EXPECT_EQ(vnodeChanges(IN_MODIFY, file, written(file, 100)), NOTE_WRITE);
    EXPECT_EQ(vnodeChanges(IN_MODIFY, file, written(file, 99)), NOTE_WRITE);
}

TEST(VnodeChanges, TakesAClosedWriterForAMappedWriteWhenContentsChanged)
{
    const VnodeState file = someFile();

    EXPECT_EQ(vnodeChanges(IN_CLOSE_WRITE, file, written(file, 100)), NOTE_WRITE);
    EXPECT_EQ(vnodeChanges(IN_CLOSE_WRITE, file, written(file, 200)), NOTE_WRITE | NOTE_EXTEND);
    EXPECT_EQ(vnodeChanges(IN_CLOSE_WRITE, file, file), 0U);
}

TEST(VnodeChanges, TellsTouchingThroughAWriterFromAMappedWriteBeforeAChangeOfMode)
{
    const VnodeState file = someFile();
    const VnodeState touched = written(file, 100);
    VnodeState writtenAndMadeExecutable = touched;
    writtenAndMadeExecutable.mode |= 0111;

    EXPECT_EQ(vnodeChanges(IN_ATTRIB | IN_CLOSE_WRITE, file, touched), NOTE_ATTRIB);
    EXPECT_EQ(vnodeChanges(IN_ATTRIB | IN_CLOSE_WRITE, file, writtenAndMadeExecutable),
              NOTE_WRITE | NOTE_ATTRIB);
}

TEST(VnodeChanges, CountsNoWriteForAWriterThatClosesAfterATouch)
{
    const VnodeState file = someFile();
    const VnodeState touched = written(file, 100);

    const VnodeState settled = settledState(IN_ATTRIB, file, touched);

    EXPECT_EQ(vnodeChanges(IN_CLOSE_WRITE, settled, touched), 0U);
}

TEST(VnodeChanges, FindsAMappedWriteWhoseFileChangedItsModeBeforeTheClose)
{
    const VnodeState file = someFile();
    VnodeState now = written(file, 100);
    now.mode |= 0111;

    const VnodeState settled = settledState(IN_ATTRIB, file, now);

    EXPECT_EQ(vnodeChanges(IN_CLOSE_WRITE, settled, now), NOTE_WRITE);
}

TEST(VnodeChanges, KeepsGrowthThatIsSeenEarlyForItsOwnSign)
{
    const VnodeState file = someFile();
    const VnodeState now = written(file, 150);

    const auto early = vnodeChanges(IN_ATTRIB, file, now);
    const VnodeState settled = settledState(IN_ATTRIB, file, now);

    EXPECT_EQ(early, NOTE_ATTRIB);
    EXPECT_EQ(vnodeChanges(IN_MODIFY, settled, now), NOTE_WRITE | NOTE_EXTEND);
}

TEST(VnodeChanges, KeepsALinkThatIsSeenEarlyForItsOwnSign)
{
    const VnodeState file = someFile();
    VnodeState now = file;
    now.linkCount = 2;
    now.statusTime += 10;

    const auto early = vnodeChanges(IN_MODIFY, file, now);
    const VnodeState settled = settledState(IN_MODIFY, file, now);

    EXPECT_EQ(early, NOTE_WRITE);
    EXPECT_EQ(vnodeChanges(IN_ATTRIB, settled, now), NOTE_LINK);
}

TEST(VnodeChanges, ReportsADeletionOnceWhateverSignComesFirst)
{
    const VnodeState file = someFile();
    const VnodeState gone = unlinked(file);

    for (const VnodeHints first : {VnodeHints{IN_ATTRIB}, VnodeHints{IN_MODIFY}, mayBeGone}) {
        const VnodeState settled = settledState(first, file, gone);
        EXPECT_EQ(vnodeChanges(first, file, gone) & NOTE_DELETE, NOTE_DELETE) << first;
        EXPECT_EQ(vnodeChanges(IN_ATTRIB | IN_DELETE_SELF, settled, gone), 0U) << first;
    }
}

TEST(VnodeChanges, ReportsADeletionThatOnlyTheKernelTellsOnce)
{
    const VnodeState file = someFile();

    const auto changes = vnodeChanges(IN_DELETE_SELF, file, file);
    const VnodeState settled = settledState(IN_DELETE_SELF, file, file);

    EXPECT_EQ(changes, NOTE_DELETE);
    EXPECT_EQ(vnodeChanges(IN_DELETE_SELF, settled, file), 0U);
}

TEST(VnodeChanges, StillReportsAttributesOfADeletedFile)
{
    const VnodeState gone = unlinked(someFile());
    VnodeState changed = gone;
    changed.mode = 0100600;
    changed.statusTime += 10;

    EXPECT_EQ(vnodeChanges(IN_ATTRIB, gone, changed), NOTE_ATTRIB);
}

TEST(VnodeChanges, ReportsLinkAndAttributeThatShareASign)
{
    const VnodeState file = someFile();
    VnodeState now = file;
    now.linkCount = 2;
    now.mode = 0100600;

    EXPECT_EQ(vnodeChanges(IN_ATTRIB, file, now), NOTE_LINK | NOTE_ATTRIB);
}

TEST(VnodeChanges, KnowsRenameAndRevocationByTheirSigns)
{
    const VnodeState file = someFile();

    EXPECT_EQ(vnodeChanges(IN_MOVE_SELF, file, file), NOTE_RENAME);
    EXPECT_EQ(vnodeChanges(IN_UNMOUNT, file, file), NOTE_REVOKE);
}

TEST(VnodeChanges, WritesAFolderByItsEntries)
{
    const VnodeState folder = someFolder();
    const VnodeState now = written(folder, 4096);

    EXPECT_EQ(vnodeChanges(IN_CREATE, folder, now), NOTE_WRITE);
    EXPECT_EQ(vnodeChanges(IN_MOVED_FROM | IN_MOVED_TO, folder, now), NOTE_WRITE);
    EXPECT_EQ(vnodeChanges(IN_DELETE | IN_ISDIR, folder, now), NOTE_WRITE | NOTE_LINK);
    EXPECT_EQ(vnodeChanges(IN_ATTRIB, folder, now), NOTE_ATTRIB);
}

TEST(VnodeChanges, FindsNoAttributesInTheEndOfAFolder)
{
    VnodeState gone = someFolder();
    gone.linkCount = 0;
    gone.statusTime += 10;

    EXPECT_EQ(vnodeChanges(IN_ATTRIB | mayBeGone, someFolder(), gone), NOTE_DELETE);
}

TEST(VnodeChanges, FindsNothingAfterAnOverflowWhereNothingDiffers)
{
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, someFile(), someFile()), 0U);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, someFolder(), someFolder()), 0U);
}

TEST(VnodeChanges, FindsEveryDifferenceAfterAnOverflow)
{
    const VnodeState file = someFile();
    VnodeState chowned = file;
    chowned.owner = 7;
    VnodeState renamed = file;
    renamed.name.base = "log.1";
    renamed.statusTime += 10;
    VnodeState moved = file;
    moved.name.parentInode = 3;
    VnodeState linked = file;
    linked.linkCount = 2;
    linked.statusTime += 10;
    VnodeState tagged = file;
    tagged.statusTime += 10;

    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, written(file, 300)), NOTE_WRITE | NOTE_EXTEND);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, written(file, 3)), NOTE_WRITE);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, chowned), NOTE_ATTRIB);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, renamed), NOTE_RENAME);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, moved), NOTE_RENAME);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, linked), NOTE_LINK);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, tagged), NOTE_ATTRIB);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, unlinked(file)), NOTE_DELETE);
    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, someFolder(), written(someFolder(), 8192)), NOTE_WRITE);
}

TEST(VnodeChanges, MakesNoRenameOfANameThatCannotBeTold)
{
    const VnodeState file = someFile();
    VnodeState now = file;
    now.name = {};

    EXPECT_EQ(vnodeChanges(IN_Q_OVERFLOW, file, now), 0U);
}

} // namespace veltra
