#include "platform/desktop/Workspace.h"

#include "platform/desktop/fakes/FakeWorkspace.h"

#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

const QString something = QStringLiteral("Something");

/// Gives the tests a workspace: the process's own, or a fake.
template <typename Kind>
class AnyWorkspace : public testing::Test {
  protected:
    Workspace& workspace()
    {
        if constexpr (std::is_same_v<Kind, FakeWorkspace>)
            return fake_;
        else
            return Workspace::sharedWorkspace();
    }

  private:
    FakeWorkspace fake_;
};

using Kinds = testing::Types<Workspace, FakeWorkspace>;
TYPED_TEST_SUITE(AnyWorkspace, Kinds, );

TYPED_TEST(AnyWorkspace, HasOneNotificationCenterApartFromTheDefaultOne)
{
    Workspace& workspace = this->workspace();

    EXPECT_EQ(&workspace.notificationCenter(), &workspace.notificationCenter());
    EXPECT_NE(&workspace.notificationCenter(), &NotificationCenter::defaultCenter());
}

TYPED_TEST(AnyWorkspace, PostsToItsOwnObserversAlone)
{
    int ownCalls = 0;
    int defaultCalls = 0;
    NotificationCenter& center = this->workspace().notificationCenter();
    const auto own =
        center.addObserver(something, nullptr, [&](const Notification&) { ++ownCalls; });
    const auto other = NotificationCenter::defaultCenter().addObserver(
        something, nullptr, [&](const Notification&) { ++defaultCalls; });

    center.postNotificationName(something);

    EXPECT_EQ(ownCalls, 1);
    EXPECT_EQ(defaultCalls, 0);
}

TYPED_TEST(AnyWorkspace, PostsNothingForANotedPath)
{
    const QString path = QStringLiteral("/some/file");
    int calls = 0;
    const auto registration = this->workspace().notificationCenter().addObserver(
        path, nullptr, [&](const Notification&) { ++calls; });

    this->workspace().noteFileSystemChanged(path);

    EXPECT_EQ(calls, 0);
}

TEST(Workspace, IsOnePerProcess)
{
    EXPECT_EQ(&Workspace::sharedWorkspace(), &Workspace::sharedWorkspace());
}

TEST(FakeWorkspace, KeepsNotedPathsInOrder)
{
    FakeWorkspace workspace;
    const QStringList paths{QStringLiteral("/b"), QStringLiteral("/a"), QStringLiteral("/c")};

    for (const QString& path : paths)
        workspace.noteFileSystemChanged(path);

    EXPECT_EQ(workspace.notedPaths(), paths);
}

TEST(FakeWorkspace, TakesPathsFromManyThreads)
{
    FakeWorkspace workspace;
    std::vector<std::thread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 100; ++round)
                workspace.noteFileSystemChanged(QStringLiteral("/file"));
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(workspace.notedPaths().size(), 400);
}

} // namespace
} // namespace veltra
