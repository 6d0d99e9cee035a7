#include "app/MainWindow.h"

#include "logview/table/LogTableModel.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QStandardItemModel>
#include <QTest>

#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

class MainWindowTest : public testing::Test {
  protected:
    NotificationCenter notifications_;
    MainWindow window_{notifications_};
};

TEST_F(MainWindowTest, HasEveryOutletOnceAndInItself)
{
    std::vector<QWidget*> outlets{window_.table(),        window_.activityIndicator(),
                                  window_.statusImage(),  window_.statusLabel(),
                                  window_.versionLabel(), window_.serverLabel()};
    for (QPushButton* button : window_.buttons())
        outlets.push_back(button);

    for (QWidget* outlet : outlets) {
        ASSERT_NE(outlet, nullptr);
        EXPECT_TRUE(window_.isAncestorOf(outlet));
    }
    EXPECT_EQ(std::set(outlets.begin(), outlets.end()).size(), 12U);
}

TEST_F(MainWindowTest, TheButtonsStandUnderTheTableInTheirOrder)
{
    window_.show();

    const auto buttons = window_.buttons();
    const int underTable =
        window_.table()->mapTo(&window_, QPoint{}).y() + window_.table()->height();
    int last = -1;
    for (const QPushButton* button : buttons) {
        const QPoint place = button->mapTo(&window_, QPoint{});
        EXPECT_GE(place.y(), underTable);
        EXPECT_GT(place.x(), last);
        last = place.x();
    }
}

TEST_F(MainWindowTest, OpensWithTheKeyboardOnTheTable)
{
    window_.show();
    window_.activateWindow();

    EXPECT_TRUE(runLoopUntil([this] { return window_.isActiveWindow(); }));
    EXPECT_EQ(window_.focusWidget(), window_.table());
}

TEST_F(MainWindowTest, TheTabKeyLeadsFromTheTableThroughTheButtonsAndBack)
{
    // A table that has cells might keep the key to itself.
    QStandardItemModel model{1, LogTableModel::columns};
    window_.table()->setModel(&model);
    window_.table()->setCurrentIndex(model.index(0, 0));
    const auto buttons = window_.buttons();
    window_.show();
    window_.activateWindow();
    ASSERT_TRUE(runLoopUntil([this] { return window_.isActiveWindow(); }));

    std::vector<QWidget*> order;
    for (int press = 0; press < 7; ++press) {
        QTest::keyClick(window_.focusWidget(), Qt::Key_Tab);
        order.push_back(window_.focusWidget());
    }

    std::vector<QWidget*> expected(buttons.begin(), buttons.end());
    expected.push_back(window_.table());
    EXPECT_EQ(order, expected);
}

TEST_F(MainWindowTest, ShowsTextsOfTheAgentAsTheyAre)
{
    for (const QLabel* label :
         {window_.statusLabel(), window_.versionLabel(), window_.serverLabel()})
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
}

TEST_F(MainWindowTest, CloseSaysSoOnTheCentreThatItWasGiven)
{
    int heard = 0;
    int heardByDefault = 0;
    const auto here = notifications_.addObserver(QStringLiteral("NSWindowWillCloseNotification"),
                                                 &window_, [&](const Notification&) { ++heard; });
    const auto there = NotificationCenter::defaultCenter().addObserver(
        QStringLiteral("NSWindowWillCloseNotification"), nullptr,
        [&](const Notification&) { ++heardByDefault; });
    window_.show();

    const bool isClosed = window_.close();

    EXPECT_TRUE(isClosed);
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(heardByDefault, 0);
}

} // namespace
} // namespace veltra
