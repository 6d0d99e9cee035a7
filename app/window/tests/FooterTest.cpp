#include "app/window/Footer.h"

#include "watch/tests/TextsInBundle.h"

#include <QRegularExpression>

#include <algorithm>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

class FooterTest : public testing::Test {
  protected:
    FooterTest()
    {
        footer_.setTexts(resources_, &table_);
        footer_.show();
    }

    /// The label that a screen reader hears that description of.
    QLabel& label(const char* key)
    {
        const QString description = resources_.getLocalisedString(QLatin1String{key});
        for (QLabel* label : footer_.findChildren<QLabel*>())
            if (label->accessibleDescription() == description)
                return *label;
        throw std::runtime_error{key};
    }

    std::string textOf(const char* key) { return label(key).text().toStdString(); }

    int signsShown()
    {
        int signs = 0;
        for (const QLabel* label : footer_.findChildren<QLabel*>())
            signs += label->isVisible() && !label->pixmap(Qt::ReturnByValue).isNull() ? 1 : 0;
        return signs;
    }

    TextsInBundle texts_;
    VXStatusResourceController resources_ = texts_.resources();
    QWidget table_;
    Footer footer_;
};

TEST_F(FooterTest, NamesTheFollowedLog)
{
    footer_.showFollowedLog(QStringLiteral("vxsvc_<b>1</b>&.log, 3 rows"));

    EXPECT_EQ(textOf("FOLLOWED_LOG"), "vxsvc_<b>1</b>&.log, 3 rows");
}

TEST_F(FooterTest, ShowsTheNewestEventWithItsTime)
{
    footer_.tell(QStringLiteral("the first"), Footer::Outcome::good);
    footer_.tell(QStringLiteral("<b>the second</b>"), Footer::Outcome::good);

    const QRegularExpression expected{QStringLiteral("^\\d\\d:\\d\\d:\\d\\d  <b>the second</b>$")};
    EXPECT_TRUE(expected.match(label("NEWEST_EVENT").text()).hasMatch()) << textOf("NEWEST_EVENT");
    EXPECT_EQ(label("NEWEST_EVENT").textFormat(), Qt::PlainText);
    EXPECT_EQ(signsShown(), 0);
}

TEST_F(FooterTest, PutsASignBesideABadEvent)
{
    footer_.tell(QStringLiteral("bad"), Footer::Outcome::bad);
    EXPECT_EQ(signsShown(), 1);

    footer_.tell(QStringLiteral("good"), Footer::Outcome::good);

    EXPECT_EQ(signsShown(), 0);
}

TEST_F(FooterTest, ShowsAStateOtherwiseThanAnEventAndAsLongAsItLasts)
{
    footer_.showState(QStringLiteral("a newer log"));
    footer_.tell(QStringLiteral("an event"), Footer::Outcome::good);

    EXPECT_TRUE(label("LASTING_STATE").isVisible());
    EXPECT_EQ(textOf("LASTING_STATE"), "a newer log");
    EXPECT_TRUE(label("LASTING_STATE").font().bold());
    EXPECT_FALSE(label("NEWEST_EVENT").font().bold());
    EXPECT_EQ(signsShown(), 1);
    footer_.showState({});
    EXPECT_FALSE(label("LASTING_STATE").isVisible());
    EXPECT_EQ(signsShown(), 0);
}

TEST_F(FooterTest, NeedsNoWidthForItsTexts)
{
    const int before = footer_.minimumSizeHint().width();

    const QString longText(500, QLatin1Char{'x'});
    footer_.showFollowedLog(longText);
    footer_.showState(longText);
    footer_.tell(longText, Footer::Outcome::good);

    EXPECT_LT(footer_.minimumSizeHint().width(), before + 100);
}

TEST_F(FooterTest, TheTitlesKeyLeadsToTheTable)
{
    const auto labels = footer_.findChildren<QLabel*>();
    const auto leading = std::ranges::count_if(
        labels, [this](const QLabel* label) { return label->buddy() == &table_; });

    EXPECT_EQ(leading, 1);
}

} // namespace
} // namespace veltra
