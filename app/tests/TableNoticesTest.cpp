// What the table controller says in the window besides its rows.

#include "app/tests/TableController.h"

#include <QEvent>
#include <QTest>
#include <QTimer>

#include <string>

namespace veltra {
namespace {

class TableNoticesTest : public TableControllerTest {
  protected:
    TableNoticesTest()
    {
        const VXStatusResourceController withoutTexts{{}, bundleWithoutTexts()};
        footer_.setTexts(withoutTexts, nullptr);
    }

    VXStatusTableVC& open()
    {
        VXStatusTableVC& controller = make();
        controller.setEmptyTableLabel(&emptyTable_);
        controller.setFooter(&footer_);
        controller.setActivityIndicator(&indicator());
        EXPECT_TRUE(runLoopUntil([this] { return !indicator().isAnimating(); }));
        return controller;
    }

    /// Why the table is empty, as far as that is shown.
    std::string whyEmpty() const
    {
        return emptyTable_.isHidden() ? "" : emptyTable_.text().toStdString();
    }

    /// The text of one of the footer's labels, if it is shown.
    std::string inFooter(const char* description) const
    {
        for (const QLabel* label : footer_.findChildren<QLabel*>())
            if (label->accessibleDescription() == QLatin1String{description})
                return label->isVisibleTo(&footer_) ? label->text().toStdString() : "";
        return "there is no such label";
    }

    void look()
    {
        notify();
        turn();
    }

  private:
    std::shared_ptr<Bundle> bundleWithoutTexts() const
    {
        bundle_.addTextsWithoutCatalogue();
        return bundle_.open();
    }

    TestBundle bundle_;
    QLabel emptyTable_;
    Footer footer_;
};

TEST_F(TableNoticesTest, SaysWhyTheTableIsEmptyUntilTheFirstRow)
{
    folder().write("vxsvc_1.log", logLine("Info", "never shown") + "no row\n");
    open();
    EXPECT_EQ(whyEmpty(), "NO_ROWS_YET");

    folder().append("vxsvc_1.log", "a line\n" + logLine("Info", "a row"));
    look();
    EXPECT_EQ(whyEmpty(), "");
    folder().append("vxsvc_1.log", "no row\n");
    look();

    EXPECT_EQ(whyEmpty(), "");
    EXPECT_EQ(table().size(), 1U);
}

/// Counts the timeouts in the program.
class TimeoutCount : public QObject {
  public:
    TimeoutCount() { QCoreApplication::instance()->installEventFilter(this); }
    [[nodiscard]] int count() const { return count_; }

    bool eventFilter(QObject* receiver, QEvent* event) override
    {
        if (event->type() == QEvent::Timer && qobject_cast<QTimer*>(receiver))
            ++count_;
        return false;
    }

  private:
    int count_ = 0;
};

TEST_F(TableNoticesTest, RestsOnceTheRowsAreCounted)
{
    folder().write("vxsvc_1.log", "a line\n" + logLine("Info", "a row"));
    open();
    EXPECT_TRUE(runLoopUntil([this] { return table().size() == 1; }));

    // That nothing happens can only be seen over some time. On a busy machine less happens in it,
    // never more. What remains is the last count and a look for the agent's service.
    const TimeoutCount timeouts;
    QTest::qWait(2000);

    EXPECT_LE(timeouts.count(), 3);
}

TEST_F(TableNoticesTest, SaysSoWhenTheLogCannotBeReadAndThenWhenItCan)
{
    open();
    EXPECT_EQ(whyEmpty(), "LOG_UNREADABLE");

    folder().write("vxsvc_1.log", "no row\n");
    look();

    EXPECT_EQ(whyEmpty(), "NO_ROWS_YET");
}

TEST_F(TableNoticesTest, SaysWhenThereIsNoLogInTheFolder)
{
    setInitialPath(pathOf(""));

    open();

    EXPECT_EQ(whyEmpty(), "NO_LOG_IN_FOLDER");
    EXPECT_EQ(inFooter("FOLLOWED_LOG"), "NO_LOG_FOLLOWED");
}

TEST_F(TableNoticesTest, CountsTheRowsOfTheFollowedLog)
{
    folder().write("vxsvc_1.log", logLine("Info", "never shown") + logLine("Info", "a row"));
    open();
    EXPECT_TRUE(runLoopUntil([this] { return inFooter("FOLLOWED_LOG") == "FOLLOWED_LOG_ROW"; }));

    folder().append("vxsvc_1.log", logLine("Info", "never shown") + logLine("Info", "another"));
    look();

    EXPECT_TRUE(runLoopUntil([this] { return inFooter("FOLLOWED_LOG") == "FOLLOWED_LOG_ROWS"; }));
}

TEST_F(TableNoticesTest, SaysThatALogIsNewerAsLongAsItIs)
{
    folder().write("vxsvc_1.log", logLine("Info", "a line"));
    open();
    EXPECT_EQ(inFooter("LASTING_STATE"), "");

    notify(pathOf("vxsvc_2.log"));
    turn();
    EXPECT_EQ(inFooter("LASTING_STATE"), "NEWER_LOG");
    // No log was found at that moment.
    notify(pathOf(""));
    turn();
    EXPECT_EQ(inFooter("LASTING_STATE"), "");
    notify(pathOf("vxsvc_2.log"));
    look();

    EXPECT_EQ(inFooter("LASTING_STATE"), "");
}

} // namespace
} // namespace veltra
