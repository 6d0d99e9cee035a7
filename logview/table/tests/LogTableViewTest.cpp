#include "logview/table/LogTableView.h"

#include "logview/rows/tests/LogTexts.h"
#include "logview/table/LogTableModel.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QScrollBar>
#include <QStandardItemModel>
#include <QTest>

#include <string>
#include <vector>

#include <gtest/gtest.h>

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

} // namespace
} // namespace veltra
