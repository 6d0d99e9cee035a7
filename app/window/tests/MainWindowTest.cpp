#include "app/window/MainWindow.h"

#include "logview/table/LogTableModel.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "watch/tests/TextsInBundle.h"

#include <QScreen>
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

TEST_F(MainWindowTest, EnterPressesTheButtonThatHasTheKeyboard)
{
    window_.show();
    for (CommandButton* button : window_.buttons()) {
        int presses = 0;
        QObject::connect(button, &QPushButton::clicked, [&] { ++presses; });

        QTest::keyClick(button, Qt::Key_Return);
        QTest::keyClick(button, Qt::Key_Enter);
        QTest::keyClick(button, Qt::Key_Space);

        EXPECT_EQ(presses, 3);
    }
}

TEST_F(MainWindowTest, ClosesWithTheUsualKeys)
{
    for (const Qt::Key key : {Qt::Key_W, Qt::Key_Q}) {
        window_.show();
        window_.activateWindow();
        ASSERT_TRUE(runLoopUntil([this] { return window_.isActiveWindow(); }));

        QTest::keyClick(window_.focusWidget(), key, Qt::ControlModifier);

        EXPECT_FALSE(window_.isVisible());
    }
}

TEST_F(MainWindowTest, TheTitlesKeyLeadsToTheTable)
{
    const TextsInBundle texts;
    const auto resources = texts.resources();
    window_.setTexts(resources);
    window_.show();
    window_.activateWindow();
    ASSERT_TRUE(runLoopUntil([this] { return window_.isActiveWindow(); }));
    window_.buttons()[2]->setFocus();
    const QString title = resources.getLocalisedString(QStringLiteral("LOG_TITLE"));
    const char key = title.at(title.indexOf(u'&') + 1).toLatin1();

    QTest::keyClick(window_.focusWidget(), key, Qt::AltModifier);

    EXPECT_EQ(window_.focusWidget(), window_.table());
}

TEST_F(MainWindowTest, TellsAScreenReaderWhatEverythingIsInTheUsersLanguage)
{
    const TextsInBundle texts;
    const auto resources = texts.resources();
    const auto text = [&](const char* key) {
        return resources.getLocalisedString(QLatin1String{key});
    };

    window_.setTexts(resources);

    EXPECT_EQ(window_.table()->accessibleName(), text("LOG_TABLE"));
    EXPECT_EQ(window_.statusImage()->accessibleName(), text("AGENT_STATE"));
    EXPECT_EQ(window_.statusLabel()->accessibleDescription(), text("AGENT_STATE"));
    EXPECT_EQ(window_.versionLabel()->accessibleDescription(), text("AGENT_VERSION"));
    EXPECT_EQ(window_.serverLabel()->accessibleDescription(), text("AGENT_SERVER"));
    EXPECT_FALSE(window_.toolOutput()->accessibleName().contains(u'&'));
    for (const QWidget* widget : window_.findChildren<QWidget*>())
        for (const QString& heard : {widget->accessibleName(), widget->accessibleDescription()})
            EXPECT_TRUE(heard.isEmpty() || heard != widget->objectName()) << heard.toStdString();
}

TEST_F(MainWindowTest, OpensWhatTheToolPrintedFromTheFooterAndClosesItAgain)
{
    window_.show();
    window_.activateWindow();
    ASSERT_TRUE(runLoopUntil([this] { return window_.isActiveWindow(); }));
    QToolButton* const opener = window_.footer()->toolOutputButton();
    EXPECT_FALSE(opener->isVisible());
    EXPECT_FALSE(window_.toolOutput()->isVisible());

    window_.toolOutput()->add(QStringLiteral("output"));
    EXPECT_TRUE(opener->isVisible());
    opener->click();
    EXPECT_TRUE(window_.toolOutput()->isVisible());
    EXPECT_EQ(window_.focusWidget(), window_.toolOutput());
    QTest::keyClick(window_.focusWidget(), Qt::Key_Escape);

    EXPECT_FALSE(window_.toolOutput()->isVisible());
    EXPECT_FALSE(opener->isChecked());
    EXPECT_EQ(window_.focusWidget(), window_.table());
}

TEST_F(MainWindowTest, OpensNoLargerThanTheScreen)
{
    const QSize room = window_.screen()->availableSize();
    ASSERT_LT(room.width(), 1040) << "the screen of the tests is too large for this one";

    EXPECT_LE(window_.width(), room.width());
    EXPECT_LE(window_.height(), room.height());
}

TEST_F(MainWindowTest, ShowsTextsAsTheyAre)
{
    for (const QLabel* label : {window_.statusLabel(), window_.versionLabel(),
                                window_.serverLabel(), window_.emptyTableLabel()})
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
