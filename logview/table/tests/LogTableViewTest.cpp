#include "logview/table/LogTableView.h"

#include "logview/rows/tests/LogTexts.h"
#include "logview/table/LogTableModel.h"
#include "platform/base/Fd.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QHelpEvent>
#include <QLineEdit>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTest>
#include <QToolTip>
#include <QVBoxLayout>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace veltra {
namespace {

/// A shown table of rows whose messages are numbers.
class LogTableViewTest : public testing::Test {
  protected:
    LogTableViewTest()
    {
        view_.setModel(&model_);
        // Qt paints larger windows on several threads, which ThreadSanitizer reports as races.
        view_.resize(400, 200);
        view_.show();
        view_.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&view_));
        view_.setFocus();
        QApplication::clipboard()->setText(QStringLiteral("before"));
    }

    // Adds rows as one pass does.
    void add(int count)
    {
        for (; count > 0; --count)
            rows_.append(logTexts("date", "time", "comp", "Info", std::to_string(next_++)));
        publish();
    }

    void addMessage(std::string_view message)
    {
        rows_.append(logTexts("D", "T", "C", "Info", message));
        publish();
    }

    std::string message(int row) const { return std::string{model_.texts(row)[LogField::message]}; }

    std::string topMessageInView() const { return message(view_.indexAt({1, 1}).row()); }

    void select(int row)
    {
        view_.selectionModel()->select(model_.index(row, 0),
                                       QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    std::vector<std::string> selectedMessages() const
    {
        std::vector<std::string> messages;
        for (const QModelIndex& index : view_.selectionModel()->selectedRows())
            messages.push_back(message(index.row()));
        return messages;
    }

    /// The tool tip that appears when the pointer rests on a cell of the top row; empty if none.
    QString toolTipAt(int column)
    {
        const QPoint cell = view_.visualRect(model_.index(0, column)).center();
        QHelpEvent rest{QEvent::ToolTip, cell, view_.viewport()->mapToGlobal(cell)};
        QCoreApplication::sendEvent(view_.viewport(), &rest);
        return QToolTip::text();
    }

    void pressCopy() { QTest::keyClick(&view_, Qt::Key_C, Qt::ControlModifier); }
    static std::string clipboard() { return QApplication::clipboard()->text().toStdString(); }

    LogTableView& view() { return view_; }

  private:
    void publish()
    {
        rows_.publish();
        model_.adoptPublishedRows();
        QCoreApplication::processEvents();
    }

    LogRows rows_;
    LogTableModel model_{rows_};
    LogTableView view_;
    int next_ = 0;
};

std::string copiedLine(const std::string& message)
{
    return "date\ttime\tcomp\tInfo\t" + message + "\n";
}

TEST_F(LogTableViewTest, ShowsNewRowsWhileTheTopRowIsInView)
{
    add(200);

    add(3);

    EXPECT_EQ(view().verticalScrollBar()->value(), 0);
    EXPECT_EQ(topMessageInView(), "200");
}

TEST_F(LogTableViewTest, KeepsTheRowsInViewWhenScrolledAwayFromTheTop)
{
    add(200);
    view().verticalScrollBar()->setValue(50);
    ASSERT_EQ(topMessageInView(), "50");

    add(7);

    EXPECT_EQ(topMessageInView(), "50");
}

TEST_F(LogTableViewTest, KeepsTheRowsInViewOneRowBelowTheTopAndAtTheBottom)
{
    add(200);

    for (const int position : {1, view().verticalScrollBar()->maximum()}) {
        view().verticalScrollBar()->setValue(position);
        const std::string before = topMessageInView();
        add(5);
        EXPECT_EQ(topMessageInView(), before);
        add(1);
        EXPECT_EQ(topMessageInView(), before);
    }
}

TEST_F(LogTableViewTest, KeepsTheRowsInViewWhenVeryManyCome)
{
    add(200);
    view().verticalScrollBar()->setValue(50);

    add(100'000);

    EXPECT_EQ(topMessageInView(), "50");
}

TEST_F(LogTableViewTest, KeepsTheSelectedRowsSelected)
{
    add(20);
    select(3);
    select(7);

    add(5);

    EXPECT_EQ(selectedMessages(), (std::vector<std::string>{"3", "7"}));
}

TEST_F(LogTableViewTest, HasNoCurrentRowAsLongAsThereIsNone)
{
    EXPECT_FALSE(view().currentIndex().isValid());
}

TEST_F(LogTableViewTest, HasACurrentRowOnceThereAreRowsAndSelectsNothing)
{
    add(3);

    EXPECT_EQ(view().currentIndex().row(), 0);
    EXPECT_FALSE(view().selectionModel()->hasSelection());
}

TEST_F(LogTableViewTest, KeepsItsCurrentRow)
{
    add(3);
    view().setCurrentIndex(view().model()->index(1, 0));

    add(4);

    EXPECT_EQ(message(view().currentIndex().row()), "1");
}

TEST_F(LogTableViewTest, HasACurrentRowWhenGivenAModelWithRows)
{
    LogRows rows;
    rows.append(logTexts("D", "T", "C", "Info", "m"));
    rows.publish();
    LogTableModel model{rows};
    model.adoptPublishedRows();
    LogTableView other;

    other.setModel(&model);

    EXPECT_EQ(other.currentIndex(), model.index(0, 0));
}

TEST_F(LogTableViewTest, StandsHavingNoModel)
{
    LogTableView other;

    other.setModel(nullptr);
    other.copySelectedRows();

    EXPECT_FALSE(other.currentIndex().isValid());
    EXPECT_EQ(clipboard(), "before");
}

TEST_F(LogTableViewTest, CopiesTheSelectedRowByItsShortcut)
{
    add(5);
    select(2);

    pressCopy();

    EXPECT_EQ(clipboard(), copiedLine("2"));
}

TEST_F(LogTableViewTest, CopiesScatteredRowsFromTopToBottom)
{
    add(12);
    for (const int row : {9, 1, 4, 5, 0})
        select(row);

    pressCopy();

    EXPECT_EQ(clipboard(), copiedLine("0") + copiedLine("1") + copiedLine("4") + copiedLine("5") +
                               copiedLine("9"));
}

TEST_F(LogTableViewTest, CopiesEveryRowOnce)
{
    add(4);
    view().selectAll();
    select(2);

    pressCopy();

    EXPECT_EQ(clipboard(), copiedLine("0") + copiedLine("1") + copiedLine("2") + copiedLine("3"));
}

TEST_F(LogTableViewTest, CopiesOtherTextsThanAreShownShortened)
{
    const std::string text(5000, 'x');
    addMessage(text);
    select(0);

    pressCopy();

    EXPECT_EQ(clipboard(), "D\tT\tC\tInfo\t" + text + "\n");
}

TEST_F(LogTableViewTest, CopiesTabulatorsInTextsAsTwoCharacters)
{
    addMessage("a\tb\\c\xC3\xA4");
    select(0);

    pressCopy();

    EXPECT_EQ(clipboard(), "D\tT\tC\tInfo\ta\\tb\\\\c\xC3\xA4\n");
}

TEST_F(LogTableViewTest, CopiesHiddenColumnsToo)
{
    add(1);
    view().setColumnHidden(LogTableModel::componentColumn, true);
    select(0);

    pressCopy();

    EXPECT_EQ(clipboard(), copiedLine("0"));
}

TEST_F(LogTableViewTest, LeavesTheClipboardAloneWhenNothingIsSelected)
{
    add(3);

    pressCopy();

    EXPECT_EQ(clipboard(), "before");
}

TEST_F(LogTableViewTest, LeavesTheClipboardAloneWithAnotherKindOfModel)
{
    QStandardItemModel model{2, 2};
    LogTableView other;
    other.setModel(&model);
    other.selectAll();

    other.copySelectedRows();

    EXPECT_EQ(clipboard(), "before");
}

TEST_F(LogTableViewTest, SelectsWholeRows)
{
    add(3);

    QTest::mouseClick(view().viewport(), Qt::LeftButton, {},
                      view().visualRect(view().model()->index(1, 0)).center());

    EXPECT_TRUE(view().selectionModel()->isRowSelected(1));
}

TEST_F(LogTableViewTest, GivesColumnsRoomForTheirUsualTexts)
{
    view().layOutColumns();

    EXPECT_GT(view().columnWidth(LogTableModel::dateColumn),
              view().fontMetrics().horizontalAdvance(QStringLiteral("2000-00-00")));
    EXPECT_GT(view().columnWidth(LogTableModel::timeColumn),
              view().fontMetrics().horizontalAdvance(QStringLiteral("00:00:00")));
    EXPECT_GT(view().columnWidth(LogTableModel::messageTypeColumn),
              view().fontMetrics().horizontalAdvance(QStringLiteral("Warning")) + 16);
    EXPECT_TRUE(view().horizontalHeader()->stretchLastSection());
}

/// A FIFO that notices when somebody opens it, and does not let him wait.
class OpeningNoticed {
  public:
    explicit OpeningNoticed(std::string path) : path_{std::move(path)}
    {
        EXPECT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    }
    ~OpeningNoticed()
    {
        isOver_ = true;
        thread_.join();
    }
    OpeningNoticed(const OpeningNoticed&) = delete;
    OpeningNoticed& operator=(const OpeningNoticed&) = delete;

    [[nodiscard]] bool wasOpened() const { return wasOpened_; }

  private:
    // Opening it for writing succeeds only while somebody has it open for reading.
    void watch()
    {
        while (!isOver_) {
            if (Fd{::open(path_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)})
                wasOpened_ = true;
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
        }
    }

    std::string path_;
    std::atomic<bool> isOver_ = false;
    std::atomic<bool> wasOpened_ = false;
    std::thread thread_{[this] { watch(); }};
};

TEST_F(LogTableViewTest, ShowsALinesTextAsItIsInItsToolTip)
{
    const TemporaryFolder folder;
    const OpeningNoticed fifo{folder.file("image.png")};
    addMessage("<img src=\"" + folder.file("image.png") + "\"> " + std::string(200, 'x'));

    const QString toolTip = toolTipAt(LogTableModel::messageColumn);

    QToolTip::hideText();
    EXPECT_TRUE(QTest::qWaitFor([] { return !QToolTip::isVisible(); }, 60'000));
    EXPECT_TRUE(toolTip.contains(QStringLiteral("&lt;img src=&quot;"))) << toolTip.toStdString();
    EXPECT_FALSE(toolTip.contains(QStringLiteral("<img")));
    EXPECT_FALSE(fifo.wasOpened());
}

TEST_F(LogTableViewTest, ShowsAToolTipOnlyWhereACellIsCutShort)
{
    // One that is shown is hidden only after a while.
    ASSERT_EQ(QToolTip::text().toStdString(), "");
    view().layOutColumns();
    addMessage(std::string(200, 'x'));

    EXPECT_EQ(toolTipAt(LogTableModel::dateColumn).toStdString(), "");
    EXPECT_NE(toolTipAt(LogTableModel::messageColumn).toStdString(), "");
}

TEST_F(LogTableViewTest, LetsTheTabKeyLeaveIt)
{
    QWidget window;
    QVBoxLayout layout{&window};
    LogTableView table;
    QLineEdit after;
    layout.addWidget(&table);
    layout.addWidget(&after);
    LogRows rows;
    rows.append(logTexts("D", "T", "C", "Info", "only"));
    rows.publish();
    LogTableModel model{rows};
    model.adoptPublishedRows();
    table.setModel(&model);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    table.setFocus();

    QTest::keyClick(&table, Qt::Key_Tab);

    EXPECT_EQ(QApplication::focusWidget(), &after);
}

} // namespace
} // namespace veltra
