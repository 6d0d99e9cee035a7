#include "logview/table/OncePerFrame.h"

#include <QTest>

#include <chrono>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Clock = std::chrono::steady_clock;
constexpr int aMinute = 60'000; // milliseconds

TEST(OncePerFrame, RunsAtOnceWhenIdle)
{
    int runs = 0;
    OncePerFrame action{[&runs] { ++runs; }};

    EXPECT_EQ(runs, 0);
    action.request();

    EXPECT_EQ(runs, 1);
}

TEST(OncePerFrame, RunsOnceMoreForAllRequestsOfAFrame)
{
    bool wasFast = false;
    while (!wasFast) {
        int runs = 0;
        OncePerFrame action{[&runs] { ++runs; }};
        const auto begin = Clock::now();
        for (int request = 0; request < 10; ++request)
            action.request();
        const int runsAtOnce = runs;
        wasFast = Clock::now() - begin < OncePerFrame::frame;
        if (!wasFast)
            continue;

        EXPECT_EQ(runsAtOnce, 1);
        EXPECT_TRUE(QTest::qWaitFor([&runs] { return runs > 1; }, aMinute));
        QTest::qWait(2 * OncePerFrame::frame.count());
        EXPECT_EQ(runs, 2);
    }
}

TEST(OncePerFrame, LeavesAFrameBetweenTwoRuns)
{
    int runs = 0;
    OncePerFrame action{[&runs] { ++runs; }};

    const auto begin = Clock::now();
    const bool hasRun = QTest::qWaitFor(
        [&] {
            action.request();
            return runs >= 5;
        },
        aMinute);

    EXPECT_TRUE(hasRun);
    EXPECT_GE(Clock::now() - begin, 4 * OncePerFrame::frame);
}

} // namespace
} // namespace veltra
