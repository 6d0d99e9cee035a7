#include "platform/desktop/NotificationCenter.h"

#include "platform/base/tests/SleepingThread.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Registration = NotificationCenter::Registration;

const QString name = QStringLiteral("Something");

TEST(NotificationCenter, HandsTheNotificationToItsObserver)
{
    NotificationCenter center;
    QObject sender;
    std::optional<Notification> seen;
    const Registration registration = center.addObserver(
        name, nullptr, [&](const Notification& notification) { seen = notification; });

    center.postNotificationName(name, QVariant::fromValue(&sender),
                                {{QStringLiteral("path"), QStringLiteral("/x")}});

    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->name, name);
    EXPECT_EQ(seen->object.value<QObject*>(), &sender);
    EXPECT_EQ(seen->userInfo, (QVariantMap{{QStringLiteral("path"), QStringLiteral("/x")}}));
}

TEST(NotificationCenter, PostsWithoutObjectAndUserInfo)
{
    NotificationCenter center;
    std::optional<Notification> seen;
    const Registration registration = center.addObserver(
        name, nullptr, [&](const Notification& notification) { seen = notification; });

    center.postNotificationName(name);

    ASSERT_TRUE(seen);
    EXPECT_FALSE(seen->object.isValid());
    EXPECT_TRUE(seen->userInfo.isEmpty());
}

TEST(NotificationCenter, PassesObserversOfOtherNamesOver)
{
    NotificationCenter center;
    int calls = 0;
    const Registration registration =
        center.addObserver(name, nullptr, [&](const Notification&) { ++calls; });

    center.postNotificationName(QStringLiteral("Something else"));

    EXPECT_EQ(calls, 0);
}

TEST(NotificationCenter, CallsObserversInTheOrderOfRegistration)
{
    NotificationCenter center;
    std::vector<int> order;
    std::vector<Registration> registrations;
    for (int i = 0; i < 5; ++i) {
        registrations.push_back(
            center.addObserver(name, nullptr, [&, i](const Notification&) { order.push_back(i); }));
    }

    center.postNotificationName(name);

    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST(NotificationCenter, CallsObserversOnThePostingThreadBeforePostingReturns)
{
    NotificationCenter center;
    std::thread::id handledOn;
    const Registration registration = center.addObserver(
        name, nullptr, [&](const Notification&) { handledOn = std::this_thread::get_id(); });

    std::thread::id postedOn;
    std::thread::id seenAfterPosting;
    std::thread poster{[&] {
        postedOn = std::this_thread::get_id();
        center.postNotificationName(name);
        seenAfterPosting = handledOn;
    }};
    poster.join();

    EXPECT_EQ(seenAfterPosting, postedOn);
    EXPECT_NE(seenAfterPosting, std::this_thread::get_id());
}

TEST(NotificationCenter, ComparesTheSenderWithTheNotificationsObject)
{
    NotificationCenter center;
    QObject sender;
    QObject other;
    int calls = 0;
    const Registration registration =
        center.addObserver(name, &sender, [&](const Notification&) { ++calls; });

    center.postNotificationName(name, QVariant::fromValue(&other));
    center.postNotificationName(name, QStringLiteral("a value"));
    center.postNotificationName(name);
    const int callsForOthers = calls;
    center.postNotificationName(name, QVariant::fromValue(&sender));

    EXPECT_EQ(callsForOthers, 0);
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, RecognisesASenderThatIsPostedAsASubclass)
{
    NotificationCenter center;
    QTimer sender;
    int calls = 0;
    const Registration registration =
        center.addObserver(name, &sender, [&](const Notification&) { ++calls; });

    center.postNotificationName(name, QVariant::fromValue<QTimer*>(&sender));

    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, ComparesASenderThatIsGoneWithoutLookingAtIt)
{
    NotificationCenter center;
    auto sender = std::make_unique<QTimer>();
    const auto object = QVariant::fromValue<QTimer*>(sender.get());
    int calls = 0;
    const Registration registration =
        center.addObserver(name, sender.get(), [&](const Notification&) { ++calls; });

    sender.reset();
    center.postNotificationName(name, object);

    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, ForgetsAnObserverWhoseRegistrationEnds)
{
    NotificationCenter center;
    int calls = 0;
    {
        const Registration registration =
            center.addObserver(name, nullptr, [&](const Notification&) { ++calls; });
        center.postNotificationName(name);
    }

    center.postNotificationName(name);

    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, KeepsNothingOfAnObserverWhoseRegistrationEnds)
{
    NotificationCenter center;
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> kept = held;
    Registration registration =
        center.addObserver(name, nullptr, [held = std::move(held)](const Notification&) {});
    const bool wasKept = !kept.expired();

    registration = {};

    EXPECT_TRUE(wasKept);
    EXPECT_TRUE(kept.expired());
}

TEST(NotificationCenter, MovesARegistrationWithoutEndingIt)
{
    NotificationCenter center;
    std::vector<int> order;
    auto first =
        center.addObserver(name, nullptr, [&](const Notification&) { order.push_back(1); });
    auto second =
        center.addObserver(name, nullptr, [&](const Notification&) { order.push_back(2); });

    Registration kept = std::move(first);
    center.postNotificationName(name);
    kept = std::move(second);
    center.postNotificationName(name);

    EXPECT_EQ(order, (std::vector<int>{1, 2, 2}));
}

TEST(NotificationCenter, DoesNotCallAnObserverThatAnEarlierOneEnded)
{
    NotificationCenter center;
    Registration second;
    int calls = 0;
    const Registration first =
        center.addObserver(name, nullptr, [&](const Notification&) { second = {}; });
    second = center.addObserver(name, nullptr, [&](const Notification&) { ++calls; });

    center.postNotificationName(name);

    EXPECT_EQ(calls, 0);
}

TEST(NotificationCenter, DoesNotCallAnObserverThatIsAddedMeanwhile)
{
    NotificationCenter center;
    std::vector<Registration> added;
    int calls = 0;
    const Registration first = center.addObserver(name, nullptr, [&](const Notification&) {
        added.push_back(center.addObserver(name, nullptr, [&](const Notification&) { ++calls; }));
    });

    center.postNotificationName(name);
    const int callsOfFirstPost = calls;
    center.postNotificationName(name);

    EXPECT_EQ(callsOfFirstPost, 0);
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, LetsAHandlerEndItsOwnRegistration)
{
    NotificationCenter center;
    Registration registration;
    int calls = 0;
    registration = center.addObserver(name, nullptr, [&](const Notification&) {
        registration = {};
        ++calls;
    });

    center.postNotificationName(name);
    center.postNotificationName(name);

    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, LetsAHandlerEndItsOwnRegistrationFromInsideAPostOfItsOwn)
{
    NotificationCenter center;
    Registration registration;
    int depth = 0;
    int calls = 0;
    registration = center.addObserver(name, nullptr, [&](const Notification&) {
        ++calls;
        if (++depth < 3)
            center.postNotificationName(name);
        registration = {};
    });

    center.postNotificationName(name);
    center.postNotificationName(name);

    EXPECT_EQ(calls, 3);
}

TEST(NotificationCenter, ThrowsToThePosterAndCallsNoLaterObserver)
{
    NotificationCenter center;
    int calls = 0;
    Registration first = center.addObserver(
        name, nullptr, [](const Notification&) { throw std::runtime_error{"no"}; });
    const Registration second =
        center.addObserver(name, nullptr, [&](const Notification&) { ++calls; });

    EXPECT_THROW(center.postNotificationName(name), std::runtime_error);
    const int callsAfterThrow = calls;
    first = {};
    center.postNotificationName(name);

    EXPECT_EQ(callsAfterThrow, 0);
    EXPECT_EQ(calls, 1);
}

/// A handler that does not return until the test releases it.
struct Gate {
    std::promise<void> entered;
    std::promise<void> opened;

    void pass()
    {
        entered.set_value();
        opened.get_future().wait();
    }
};

TEST(NotificationCenter, WaitsForAHandlerOnAnotherThreadBeforeARegistrationIsEnded)
{
    NotificationCenter center;
    Gate gate;
    std::atomic<bool> isHandled = false;
    Registration registration = center.addObserver(name, nullptr, [&](const Notification&) {
        gate.pass();
        isHandled = true;
    });
    std::thread poster{[&] { center.postNotificationName(name); }};
    gate.entered.get_future().wait();

    bool wasHandledWhenEnded = false;
    SleepingThread ender{[&] {
        registration = {};
        wasHandledWhenEnded = isHandled;
    }};
    const bool didWait = ender.waitUntilAsleep();
    gate.opened.set_value();
    ender.join();
    poster.join();

    EXPECT_TRUE(didWait);
    EXPECT_TRUE(wasHandledWhenEnded);
}

TEST(NotificationCenter, StillWaitsAfterAPostFromInsideTheHandlerHasReturned)
{
    NotificationCenter center;
    Gate gate;
    std::atomic<bool> isHandled = false;
    bool isInner = false;
    Registration registration = center.addObserver(name, nullptr, [&](const Notification&) {
        if (std::exchange(isInner, true))
            return;
        center.postNotificationName(name);
        gate.pass();
        isHandled = true;
    });
    std::thread poster{[&] { center.postNotificationName(name); }};
    gate.entered.get_future().wait();

    bool wasHandledWhenEnded = false;
    SleepingThread ender{[&] {
        registration = {};
        wasHandledWhenEnded = isHandled;
    }};
    const bool didWait = ender.waitUntilAsleep();
    gate.opened.set_value();
    ender.join();
    poster.join();

    EXPECT_TRUE(didWait);
    EXPECT_TRUE(wasHandledWhenEnded);
}

TEST(NotificationCenter, LetsOtherThreadsInWhileAHandlerRuns)
{
    NotificationCenter center;
    Gate gate;
    const Registration slow =
        center.addObserver(name, nullptr, [&](const Notification&) { gate.pass(); });
    std::thread poster{[&] { center.postNotificationName(name); }};
    gate.entered.get_future().wait();

    int calls = 0;
    const QString other = QStringLiteral("Something else");
    {
        const Registration quick =
            center.addObserver(other, nullptr, [&](const Notification&) { ++calls; });
        center.postNotificationName(other);
    }
    gate.opened.set_value();
    poster.join();

    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, StandsPostingAndRegisteringFromManyThreads)
{
    NotificationCenter center;
    std::atomic<int> calls = 0;
    std::vector<std::thread> threads;
    const Registration lasting =
        center.addObserver(name, nullptr, [&](const Notification&) { ++calls; });

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                auto alive = std::make_unique<int>(0);
                const Registration passing = center.addObserver(
                    name, nullptr, [&](const Notification&) { EXPECT_EQ(*alive, 0); });
                center.postNotificationName(name);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(calls, 4 * 200);
}

TEST(NotificationCenter, IsOutlivedByARegistration)
{
    auto center = std::make_unique<NotificationCenter>();
    int calls = 0;
    Registration registration =
        center->addObserver(name, nullptr, [&](const Notification&) { ++calls; });

    center->postNotificationName(name);
    center.reset();
    registration = {};

    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, IsOnePerProcess)
{
    EXPECT_EQ(&NotificationCenter::defaultCenter(), &NotificationCenter::defaultCenter());
}

} // namespace
} // namespace veltra
