#include "app/window/ToolOutput.h"

#include "app/window/ToolOutputView.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QApplication>
#include <QClipboard>
#include <QFontInfo>
#include <QTest>

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

constexpr int most = static_cast<int>(ToolOutput::mostCharacters);

void turn()
{
    bool isDone = false;
    MainQueue::post([&isDone] { isDone = true; });
    EXPECT_TRUE(runLoopUntil([&isDone] { return isDone; }));
}

TEST(ToolOutput, ArrivesOnTheMainThreadInItsOrder)
{
    std::string shown;
    bool isMainThread = true;
    ToolOutput output{[&](const QString& text) {
        shown += text.toStdString();
        isMainThread = isMainThread && MainQueue::isMainThread();
    }};

    ASSERT_TRUE(runOnWorker([&] {
        output.add(QStringLiteral("one "));
        output.add(QString{});
        output.add(QStringLiteral("two "));
    }));
    output.add(QStringLiteral("three"));
    turn();

    EXPECT_EQ(shown, "one two three");
    EXPECT_TRUE(isMainThread);
}

TEST(ToolOutput, KeepsTheNewestWhenMoreComesThanIsShown)
{
    QString shown;
    ToolOutput output{[&](const QString& text) { shown += text; }};

    for (int piece = 0; piece < 20; ++piece)
        output.add(QString(most / 10, QLatin1Char{'x'}));
    output.add(QStringLiteral("the end"));
    turn();

    EXPECT_EQ(shown.size(), most);
    EXPECT_TRUE(shown.endsWith(QStringLiteral("xthe end")));
}

TEST(ToolOutput, ShowsNothingOnceItIsGone)
{
    bool isShown = false;
    auto output = std::make_unique<ToolOutput>([&](const QString&) { isShown = true; });
    output->add(QStringLiteral("late"));

    output.reset();
    turn();

    EXPECT_FALSE(isShown);
}

TEST(ToolOutputView, ShowsTextAsItIsAndLetsItBeCopied)
{
    ToolOutputView view;
    view.show();
    const QString text = QStringLiteral("<b>bold</b>\nand more");
    view.add(text.left(5));
    view.add(text.mid(5));

    QTest::keyClick(&view, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier);
    QTest::keyClick(&view, Qt::Key_X);

    EXPECT_EQ(view.toPlainText(), text);
    EXPECT_EQ(QApplication::clipboard()->text(), text);
}

TEST(ToolOutputView, AlignsColumnsAsATerminalDoes)
{
    const ToolOutputView view;

    EXPECT_TRUE(QFontInfo{view.font()}.fixedPitch());
}

TEST(ToolOutputView, KeepsTheNewest)
{
    ToolOutputView view;
    for (int line = 0; line < most / 50; ++line)
        view.add(QStringLiteral("%1\n").arg(line, 99));

    EXPECT_LE(view.toPlainText().size(), most);
    EXPECT_GT(view.toPlainText().size(), most - 100);
    EXPECT_TRUE(view.toPlainText().endsWith(QStringLiteral(" %1\n").arg(most / 50 - 1)));
}

TEST(ToolOutputView, EscapeDismissesIt)
{
    ToolOutputView view;
    int dismissals = 0;
    QObject::connect(&view, &ToolOutputView::dismissed, [&] { ++dismissals; });
    view.show();

    QTest::keyClick(&view, Qt::Key_Escape);

    EXPECT_EQ(dismissals, 1);
}

} // namespace
} // namespace veltra
