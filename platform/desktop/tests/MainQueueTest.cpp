#include "platform/desktop/MainQueue.h"

#include "platform/base/tests/SleepingThread.h"
#include "platform/desktop/NotificationCenter.h"
#include "platform/desktop/VXStatusMainThread.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/log/tests/RecordingSink.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

/// Every test creates the application object itself, because the tests are about the queue's life.
class Application {
  private:
    int count_ = 1;
    std::string name_ = "MainQueueTest";
    std::vector<char*> arguments_{name_.data(), nullptr};
    QCoreApplication application_{count_, arguments_.data()};
};

void postAndRun(const std::function<void()>& work)
{
    bool isDone = false;
    MainQueue::post(work);
    MainQueue::post([&] { isDone = true; });
    EXPECT_TRUE(runLoopUntil([&] { return isDone; }));
}

TEST(MainQueue, RunsPostedWorkOnTheMainThreadInOrder)
{
    const Application application;
    constexpr int pieces = 1000;
    std::vector<int> order;
    bool isAllOnMainThread = true;
    const auto mainThread = std::this_thread::get_id();

    std::thread worker{[&] {
        for (int i = 0; i < pieces; ++i) {
            MainQueue::post([&, i] {
                isAllOnMainThread = isAllOnMainThread && std::this_thread::get_id() == mainThread;
                order.push_back(i);
            });
        }
    }};
    const bool hasRun = runLoopUntil([&] { return order.size() == pieces; });
    worker.join();

    EXPECT_TRUE(hasRun);
    EXPECT_TRUE(isAllOnMainThread);
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

TEST(MainQueue, QueuesWhatTheMainThreadItselfPosts)
{
    const Application application;
    bool hasRun = false;

    MainQueue::post([&] { hasRun = true; });
    const bool hasRunAtOnce = hasRun;

    EXPECT_FALSE(hasRunAtOnce);
    EXPECT_TRUE(runLoopUntil([&] { return hasRun; }));
}

TEST(MainQueue, LetsTheLoopTurnWhileWorkKeepsPostingWork)
{
    const Application application;
    bool hasTimerFired = false;
    std::function<void()> again = [&] {
        if (!hasTimerFired)
            MainQueue::post(again);
    };

    QTimer::singleShot(0, [&] { hasTimerFired = true; });
    MainQueue::post(again);

    EXPECT_TRUE(runLoopUntil([&] { return hasTimerFired; }));
    postAndRun([] {});
}

TEST(MainQueue, TakesBoundedWorkInOneTurn)
{
    const Application application;
    int count = 0;
    for (int i = 0; i < 500; ++i)
        MainQueue::post([&] { ++count; });

    ASSERT_TRUE(runLoopUntil([&] { return count > 0; }));
    const int countOfFirstTurn = count;

    EXPECT_LT(countOfFirstTurn, 500);
    EXPECT_TRUE(runLoopUntil([&] { return count == 500; }));
}

TEST(MainQueue, GoesOnInsideALoopThatWorkRuns)
{
    const Application application;
    std::vector<std::string> order;
    QEventLoop inner;

    MainQueue::post([&] {
        order.emplace_back("begin");
        inner.exec();
        order.emplace_back("end");
    });
    MainQueue::post([&] {
        order.emplace_back("second");
        inner.quit();
    });
    ASSERT_TRUE(runLoopUntil([&] { return order.size() == 3; }));

    EXPECT_EQ(order, (std::vector<std::string>{"begin", "second", "end"}));
}

TEST(MainQueue, LogsWhatPostedWorkThrowsAndGoesOn)
{
    const Application application;
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};

    postAndRun([] { throw std::runtime_error{"no such luck"}; });
    postAndRun([] { throw 7; });
    log.drain();

    EXPECT_EQ(recording->messages(), (std::vector<std::string>{"the error is no such luck",
                                                               "the error is of an unknown kind"}));
}

TEST(MainQueue, KeepsTheSenderWaitingUntilItsWorkIsDone)
{
    const Application application;
    std::thread::id ranOn;
    bool wasSeenBySender = false;

    const bool hasEnded = runOnWorker([&] {
        bool hasRun = false;
        MainQueue::runAndWait([&] {
            ranOn = std::this_thread::get_id();
            hasRun = true;
        });
        wasSeenBySender = hasRun;
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_TRUE(wasSeenBySender);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(MainQueue, RunsAwaitedWorkAtOnceOnTheMainThread)
{
    const Application application;
    bool hasRun = false;

    MainQueue::runAndWait([&] { hasRun = true; });

    EXPECT_TRUE(hasRun);
    EXPECT_THROW(MainQueue::runAndWait([] { throw std::out_of_range{"here"}; }), std::out_of_range);
}

TEST(MainQueue, ThrowsToTheSenderWhatItsWorkThrows)
{
    const Application application;
    std::string caught;

    const bool hasEnded = runOnWorker([&] {
        try {
            MainQueue::runAndWait([] { throw std::out_of_range{"on the main thread"}; });
        } catch (const std::out_of_range& error) {
            caught = error.what();
        }
    });

    EXPECT_TRUE(hasEnded);
    EXPECT_EQ(caught, "on the main thread");
}

TEST(MainQueue, KnowsTheMainThread)
{
    const bool isMainBefore = MainQueue::isMainThread();
    const Application application;

    const bool isMain = MainQueue::isMainThread();
    const bool isWorkerMain =
        std::async(std::launch::async, [] { return MainQueue::isMainThread(); }).get();

    EXPECT_TRUE(isMainBefore);
    EXPECT_TRUE(isMain);
    EXPECT_FALSE(isWorkerMain);
}

TEST(MainQueue, KeepsWorkForTheNextApplication)
{
    // Opens the queue, in case an earlier test has closed it.
    {
        const Application former;
    }
    bool hasRunEarly = false;
    bool hasRunLate = false;
    MainQueue::post([&] { hasRunEarly = true; });

    {
        const Application application;
        ASSERT_TRUE(runLoopUntil([&] { return hasRunEarly; }));
    }
    MainQueue::post([&] { hasRunLate = true; });
    const bool hasRunWithoutApplication = hasRunLate;
    const Application next;

    EXPECT_FALSE(hasRunWithoutApplication);
    EXPECT_TRUE(runLoopUntil([&] { return hasRunLate; }));
}

TEST(MainQueue, ReleasesWaitingSendersWhenItIsClosed)
{
    const Application application;
    bool hasRun = false;
    SleepingThread sender{
        [&] { EXPECT_THROW(MainQueue::runAndWait([&] { hasRun = true; }), std::runtime_error); }};
    ASSERT_TRUE(sender.waitUntilAsleep());

    MainQueue::close();
    sender.join();
    QCoreApplication::processEvents();

    EXPECT_FALSE(hasRun);
}

TEST(MainQueue, RefusesSendersAfterItIsClosed)
{
    const Application application;
    bool hasRun = false;

    MainQueue::close();
    std::thread sender{
        [&] { EXPECT_THROW(MainQueue::runAndWait([&] { hasRun = true; }), std::runtime_error); }};
    sender.join();
    QCoreApplication::processEvents();

    EXPECT_FALSE(hasRun);
}

TEST(MainQueue, DropsPostedWorkWhenItIsClosed)
{
    const Application application;
    const auto token = std::make_shared<int>(0);
    bool hasRun = false;

    MainQueue::post([&hasRun, token] { hasRun = true; });
    MainQueue::close();
    MainQueue::post([&hasRun, token] { hasRun = true; });
    const auto owners = token.use_count();
    QCoreApplication::processEvents();

    EXPECT_EQ(owners, 1);
    EXPECT_FALSE(hasRun);
}

TEST(MainQueue, OpensAgainWithAnotherApplication)
{
    {
        const Application application;
        MainQueue::close();
    }
    const Application next;

    bool hasRun = false;
    postAndRun([&] { hasRun = true; });

    EXPECT_TRUE(hasRun);
}

TEST(MainQueue, ReleasesTheSenderOfAMainThreadProxyWhenItIsClosed)
{
    const Application application;
    NotificationCenter center;
    bool wasHandled = false;
    const auto registration = center.addObserver(QStringLiteral("Closing"), nullptr,
                                                 [&](const Notification&) { wasHandled = true; });
    const auto proxy = mainThreadProxy(&center);
    SleepingThread sender{[&] {
        EXPECT_THROW(proxy->forwardInvocation("postNotificationName:", {QStringLiteral("Closing")}),
                     std::runtime_error);
    }};
    ASSERT_TRUE(sender.waitUntilAsleep());

    MainQueue::close();
    sender.join();

    EXPECT_FALSE(wasHandled);
}

} // namespace
} // namespace veltra
