#include "app/window/ActivityIndicator.h"

#include "platform/desktop/tests/QtEventLoop.h"

#include <QImage>

#include <gtest/gtest.h>

namespace veltra {
namespace {

QImage pictureOf(ActivityIndicator& indicator)
{
    QImage image{indicator.size(), QImage::Format_ARGB32};
    image.fill(Qt::transparent);
    indicator.render(&image, {}, {}, {});
    return image;
}

bool showsSomething(ActivityIndicator& indicator)
{
    const QImage image = pictureOf(indicator);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0)
                return true;
    return false;
}

TEST(ActivityIndicator, ShowsNothingAndIsStillAtFirst)
{
    ActivityIndicator indicator;
    indicator.resize(indicator.sizeHint());

    EXPECT_FALSE(indicator.isAnimating());
    EXPECT_FALSE(showsSomething(indicator));
}

TEST(ActivityIndicator, ShowsItselfOnceTheActivityLasts)
{
    ActivityIndicator indicator;
    indicator.resize(indicator.sizeHint());

    indicator.startAnimation();
    const bool atOnce = showsSomething(indicator);

    EXPECT_TRUE(indicator.isAnimating());
    EXPECT_FALSE(atOnce);
    EXPECT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));
}

TEST(ActivityIndicator, Turns)
{
    ActivityIndicator indicator;
    indicator.resize(indicator.sizeHint());
    indicator.startAnimation();
    ASSERT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));

    const QImage before = pictureOf(indicator);

    EXPECT_TRUE(runLoopUntil([&] { return pictureOf(indicator) != before; }));
}

TEST(ActivityIndicator, GrowsWithItsSize)
{
    ActivityIndicator indicator;
    indicator.resize(100, 100);
    indicator.startAnimation();
    ASSERT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));

    const QImage picture = pictureOf(indicator);
    const auto isPainted = [&](int x, int y) { return qAlpha(picture.pixel(x, y)) > 0; };

    EXPECT_TRUE(isPainted(50, 20) || isPainted(50, 80));
    EXPECT_FALSE(isPainted(50, 0) || isPainted(50, 99) || isPainted(50, 50));
}

TEST(ActivityIndicator, ShowsNothingForAShortActivity)
{
    ActivityIndicator brief;
    ActivityIndicator lasting;
    brief.resize(brief.sizeHint());
    lasting.resize(lasting.sizeHint());
    bool hasShown = false;

    brief.startAnimation();
    lasting.startAnimation();
    brief.stopAnimation();
    const bool lastingShown = runLoopUntil([&] {
        hasShown = hasShown || showsSomething(brief);
        return showsSomething(lasting);
    });

    EXPECT_TRUE(lastingShown);
    EXPECT_FALSE(hasShown);
}

TEST(ActivityIndicator, ShowsNothingAndIsStillOnceStopped)
{
    ActivityIndicator indicator;
    indicator.resize(indicator.sizeHint());
    indicator.startAnimation();
    ASSERT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));

    indicator.stopAnimation();

    EXPECT_FALSE(indicator.isAnimating());
    EXPECT_FALSE(showsSomething(indicator));
}

TEST(ActivityIndicator, MayBeStoppedInAnyState)
{
    ActivityIndicator indicator;

    indicator.stopAnimation();
    indicator.startAnimation();
    indicator.stopAnimation();
    indicator.stopAnimation();

    EXPECT_FALSE(indicator.isAnimating());
}

TEST(ActivityIndicator, IsAsPatientTheSecondTime)
{
    ActivityIndicator indicator;
    indicator.resize(indicator.sizeHint());
    indicator.startAnimation();
    ASSERT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));
    indicator.stopAnimation();

    indicator.startAnimation();

    EXPECT_FALSE(showsSomething(indicator));
    EXPECT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));
}

TEST(ActivityIndicator, GoesOnWhenStartedWhileItTurns)
{
    ActivityIndicator indicator;
    indicator.resize(indicator.sizeHint());
    indicator.startAnimation();
    ASSERT_TRUE(runLoopUntil([&] { return showsSomething(indicator); }));

    indicator.startAnimation();

    EXPECT_TRUE(indicator.isAnimating());
    EXPECT_TRUE(showsSomething(indicator));
}

TEST(ActivityIndicator, KeepsItsPlaceWhetherItTurnsOrNot)
{
    ActivityIndicator indicator;
    const QSize still = indicator.sizeHint();

    indicator.startAnimation();

    EXPECT_EQ(indicator.sizeHint(), still);
    EXPECT_FALSE(still.isEmpty());
    EXPECT_EQ(indicator.sizePolicy().horizontalPolicy(), QSizePolicy::Fixed);
    EXPECT_EQ(indicator.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
}

} // namespace
} // namespace veltra
