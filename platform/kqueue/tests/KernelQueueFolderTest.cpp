#include "platform/kqueue/tests/InotifyQueueTesting.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

using Reports = std::vector<Report>;

class InotifyFolders : public InotifyQueueTest {
  protected:
    InotifyFolders()
    {
        makeFolder("d");
        folder_.write("d/old", "");
    }

    [[nodiscard]] std::uint32_t changesOfFolder(const std::function<void()>& action)
    {
        return changesOf("d", action);
    }

    void makeEmpty() const { remove("d/old"); }
};

} // namespace

TEST_F(InotifyFolders, MakingAnEntryWrites)
{
    const auto link = [&] { EXPECT_EQ(::link(path("d/old").c_str(), path("d/link").c_str()), 0); };
    const auto symlink = [&] { EXPECT_EQ(::symlink("old", path("d/symlink").c_str()), 0); };

    EXPECT_EQ(changesOfFolder([&] { folder_.write("d/new", "bytes"); }), NOTE_WRITE);
    EXPECT_EQ(changesOfFolder(symlink), NOTE_WRITE);
    EXPECT_EQ(changesOfFolder(link), NOTE_WRITE);
}

TEST_F(InotifyFolders, RemovingAnEntryWrites)
{
    EXPECT_EQ(changesOfFolder([&] { remove("d/old"); }), NOTE_WRITE);
}

TEST_F(InotifyFolders, MakingAndRemovingASubfolderWritesAndLinks)
{
    EXPECT_EQ(changesOfFolder([&] { makeFolder("d/sub"); }), NOTE_WRITE | NOTE_LINK);
    EXPECT_EQ(changesOfFolder([&] { remove("d/sub"); }), NOTE_WRITE | NOTE_LINK);
}

TEST_F(InotifyFolders, RenamingAnEntryWithinOutAndInWrites)
{
    EXPECT_EQ(changesOfFolder([&] { rename("d/old", "d/new"); }), NOTE_WRITE);
    EXPECT_EQ(changesOfFolder([&] { rename("d/new", "outside"); }), NOTE_WRITE);
    EXPECT_EQ(changesOfFolder([&] { rename("outside", "d/inside"); }), NOTE_WRITE);
}

TEST_F(InotifyFolders, WhatHappensToAnEntryItselfChangesNothing)
{
    const auto changeEntry = [&] {
        folder_.append("d/old", "x");
        chmod(path("d/old").c_str(), 0600);
        std::ifstream{path("d/old")}.get();
    };

    EXPECT_EQ(changesOfFolder(changeEntry), 0U);
}

TEST_F(InotifyFolders, WhatHappensInASubfolderChangesNothing)
{
    makeFolder("d/sub");
    const auto changeSubfolder = [&] {
        folder_.write("d/sub/new", "");
        makeFolder("d/sub/sub");
        chmod(path("d/sub").c_str(), 0700);
        remove("d/sub/new");
    };

    EXPECT_EQ(changesOfFolder(changeSubfolder), 0U);
}

TEST_F(InotifyFolders, ModeIsAnAttribute)
{
    EXPECT_EQ(changesOfFolder([&] { chmod(path("d").c_str(), 0711); }), NOTE_ATTRIB);
}

TEST_F(InotifyFolders, RenamingRenames)
{
    EXPECT_EQ(changesOfFolder([&] { rename("d", "e"); }), NOTE_RENAME);
}

TEST_F(InotifyFolders, RenamingTheParentChangesNothing)
{
    makeFolder("d/sub");

    EXPECT_EQ(changesOf("d/sub", [&] { rename("d", "e"); }), 0U);
}

TEST_F(InotifyFolders, RemovingDeletesThoughTheFolderIsHeld)
{
    makeEmpty();

    EXPECT_EQ(changesOfFolder([&] { remove("d"); }), NOTE_DELETE);
}

TEST_F(InotifyFolders, DeletesOnce)
{
    makeEmpty();
    makeFolder("other");
    watch("d");
    remove("d");
    const auto removed = reports();

    makeFolder("d");
    remove("d");
    remove("other");

    EXPECT_EQ(removed, (Reports{{"d", NOTE_DELETE}}));
    EXPECT_EQ(reports(), Reports{});
}

TEST_F(InotifyFolders, BeingReplacedByARenameDeletes)
{
    makeEmpty();
    makeFolder("e");

    EXPECT_EQ(changesOfFolder([&] { rename("e", "d"); }), NOTE_DELETE);
}

TEST_F(InotifyFolders, DeletesInANewParent)
{
    makeEmpty();
    makeFolder("p");
    watch("d");
    rename("d", "p/d");
    const auto renamed = reports();

    remove("p/d");

    EXPECT_EQ(renamed, (Reports{{"d", NOTE_RENAME}}));
    EXPECT_EQ(reports(), (Reports{{"d", NOTE_DELETE}}));
}

TEST_F(InotifyFolders, DeletesInANewParentThatWasNeverLookedAt)
{
    makeEmpty();
    makeFolder("p");

    const auto moveAndRemove = [&] {
        rename("d", "p/d");
        remove("p/d");
    };

    EXPECT_EQ(changesOfFolder(moveAndRemove), NOTE_RENAME | NOTE_DELETE);
}

TEST_F(InotifyFolders, DeletesAfterARenameInPlace)
{
    makeEmpty();
    watch("d");
    rename("d", "e");
    const auto renamed = reports();

    remove("e");

    EXPECT_EQ(renamed, (Reports{{"d", NOTE_RENAME}}));
    EXPECT_EQ(reports(), (Reports{{"d", NOTE_DELETE}}));
}

TEST_F(InotifyFolders, AreWatchedBesideTheirParent)
{
    makeEmpty();
    makeFolder("d/sub");
    watch("d");
    watch("d/sub");

    remove("d/sub");

    EXPECT_EQ(reports(), (Reports{{"d", NOTE_WRITE | NOTE_LINK}, {"d/sub", NOTE_DELETE}}));
}

TEST_F(InotifyFolders, TellAllOfThemselvesThoughOnlyAFewThingsMatterForASubfolder)
{
    makeFolder("d/sub");
    watch("d");
    watch("d/sub");

    folder_.write("d/new", "");
    chmod(path("d").c_str(), 0711);

    EXPECT_EQ(reports(), (Reports{{"d", NOTE_WRITE | NOTE_ATTRIB}}));
}

TEST_F(InotifyFolders, KeepTheWatchOfTheParentWhenTheParentIsLetGo)
{
    makeFolder("d/sub");
    watch("d/sub");
    watch("d");
    unwatch("d");

    folder_.write("d/new", "");
    remove("d/sub");

    EXPECT_EQ(reports(), (Reports{{"d/sub", NOTE_DELETE}}));
}

TEST_F(InotifyFolders, LeaveTheParentWatchedWhenTheyAreLetGo)
{
    makeFolder("d/sub");
    watch("d");
    watch("d/sub");
    unwatch("d/sub");

    remove("d/sub");

    EXPECT_EQ(reports(), (Reports{{"d", NOTE_WRITE | NOTE_LINK}}));
}

TEST_F(InotifyFolders, ReportNothingWhenASiblingGoes)
{
    makeFolder("e");

    EXPECT_EQ(changesOfFolder([&] { remove("e"); }), 0U);
}

TEST_F(InotifyFolders, LetTheParentGoOnceTheyAreDeleted)
{
    makeEmpty();
    watch("d");
    const auto before = kernelWatches();
    remove("d");
    const auto removed = reports();

    const auto after = kernelWatches();
    unwatch("d");

    EXPECT_EQ(before, 2);
    EXPECT_EQ(removed, (Reports{{"d", NOTE_DELETE}}));
    EXPECT_EQ(after, 1);
    EXPECT_EQ(kernelWatches(), 0);
}

TEST_F(InotifyFolders, AtTheTopAreTheirOwnParents)
{
    const auto name = std::make_shared<std::string>("top");
    const Fd top = openPath("/");
    auto registration = queue_->watch(top.get(), everyNote, name);
    ASSERT_TRUE(registration);

    registration.value() = {};

    EXPECT_EQ(kernelWatches(), 0);
}

} // namespace veltra
