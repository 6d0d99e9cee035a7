#include "logview/table/tests/GrowingTable.h"

#include <QAccessible>

namespace veltra {
namespace {

TEST_F(UniformRowTableViewTest, GivesAllRowsOneHeight)
{
    add(50);

    for (int row = 0; row < 50; ++row)
        EXPECT_EQ(view().visualRect(cell(row, 0)).top(), row * rowHeight());
    EXPECT_GE(rowHeight(), view().fontMetrics().height());
}

TEST_F(UniformRowTableViewTest, KeepsNoRecordOfItsRows)
{
    add(50);

    EXPECT_EQ(view().verticalHeader()->count(), 0);
}

TEST_F(UniformRowTableViewTest, FindsEveryCellWhereItSaysThatItIs)
{
    add(50);

    for (const int top : {0, 7, bar().maximum()}) {
        bar().setValue(top);
        for (int row = 0; row < 50; ++row)
            for (const int column : {0, 2, 3}) {
                const QRect place = view().visualRect(cell(row, column));
                EXPECT_EQ(view().indexAt(place.topLeft()), cell(row, column));
                EXPECT_EQ(view().indexAt(place.bottomRight()), cell(row, column));
            }
    }
}

TEST_F(UniformRowTableViewTest, FillsItsFrame)
{
    add(3);

    const QRect inside = view().contentsRect();
    const int titles = view().horizontalHeader()->height();
    EXPECT_EQ(view().viewport()->geometry(), inside.adjusted(0, titles, 0, 0));
    EXPECT_EQ(view().horizontalHeader()->geometry(),
              QRect(inside.left(), inside.top(), inside.width(), titles));
}

TEST_F(UniformRowTableViewTest, FindsNothingOutsideOfItsCells)
{
    add(3);

    EXPECT_FALSE(view().indexAt({5, -1}).isValid());
    EXPECT_FALSE(view().indexAt({5, 3 * rowHeight()}).isValid());
    EXPECT_FALSE(view().indexAt({-1, 5}).isValid());
    EXPECT_FALSE(view().indexAt({view().viewport()->width(), 5}).isValid());
    EXPECT_TRUE(view().visualRect(cell(0, 1)).isNull());
    EXPECT_TRUE(view().visualRect({}).isNull());
}

TEST_F(UniformRowTableViewTest, FindsCellsFromRightToLeft)
{
    view().setLayoutDirection(Qt::RightToLeft);
    add(3);

    EXPECT_GT(view().visualRect(cell(1, 0)).left(), view().visualRect(cell(1, 2)).left());
    EXPECT_EQ(view().indexAt(view().visualRect(cell(1, 2)).center()), cell(1, 2));
}

TEST_F(UniformRowTableViewTest, ScrollsByRowsAsFarAsTheLastOne)
{
    add(50);

    EXPECT_EQ(bar().maximum(), 50 - rowsInView());
    EXPECT_EQ(bar().pageStep(), rowsInView());
    EXPECT_FALSE(view().horizontalScrollBar()->isVisible());
    bar().setValue(bar().maximum());
    EXPECT_LE(view().visualRect(cell(49, 0)).bottom(), view().viewport()->height());
}

TEST_F(UniformRowTableViewTest, HasNoScrollBarWhileAllRowsFit)
{
    add(1);
    add(rowsInView() - 1);
    EXPECT_FALSE(bar().isVisible());

    add(1);

    EXPECT_TRUE(bar().isVisible());
}

TEST_F(UniformRowTableViewTest, FollowsItsSize)
{
    add(50);
    const int before = bar().maximum();

    view().resize(400, 120);
    QCoreApplication::processEvents();

    EXPECT_GT(bar().maximum(), before);
    EXPECT_EQ(bar().maximum(), 50 - rowsInView());
}

TEST_F(UniformRowTableViewTest, FollowsRemovedRowsAndAResetModel)
{
    add(50);

    model().removeLast(10);
    QCoreApplication::processEvents();
    EXPECT_EQ(bar().maximum(), 40 - rowsInView());

    model().reset(30);
    QCoreApplication::processEvents();
    EXPECT_EQ(bar().maximum(), 30 - rowsInView());
}

TEST_F(UniformRowTableViewTest, ScrollsNoFurtherThanIsNeededToShowARow)
{
    add(100);

    view().scrollTo(cell(rowsInView() - 1, 0));
    EXPECT_EQ(bar().value(), 0);
    view().scrollTo(cell(rowsInView(), 0));
    EXPECT_EQ(bar().value(), 1);
    view().scrollTo(cell(60, 0));
    EXPECT_EQ(bar().value(), 60 - rowsInView() + 1);
    view().scrollTo(cell(58, 0));
    EXPECT_EQ(bar().value(), 60 - rowsInView() + 1);
    view().scrollTo(cell(20, 0));
    EXPECT_EQ(bar().value(), 20);
}

TEST_F(UniformRowTableViewTest, ScrollsARowToWhereItIsWanted)
{
    add(100);

    view().scrollTo(cell(50, 0), QAbstractItemView::PositionAtTop);
    EXPECT_EQ(bar().value(), 50);
    view().scrollTo(cell(50, 0), QAbstractItemView::PositionAtBottom);
    EXPECT_EQ(bar().value(), 50 - rowsInView() + 1);
    view().scrollTo(cell(50, 0), QAbstractItemView::PositionAtCenter);
    EXPECT_EQ(bar().value(), 50 - rowsInView() / 2);
}

TEST_F(UniformRowTableViewTest, ScrollsSidewaysByPixels)
{
    view().setColumnWidth(0, 300);
    view().setColumnWidth(2, 300);
    add(3);
    QScrollBar& sideways = *view().horizontalScrollBar();
    ASSERT_TRUE(sideways.isVisible());

    view().scrollTo(cell(0, 2));
    EXPECT_EQ(view().visualRect(cell(0, 2)).right(), view().viewport()->width() - 1);
    view().scrollTo(cell(0, 0));
    EXPECT_EQ(sideways.value(), 0);
    sideways.setValue(sideways.maximum());
    EXPECT_EQ(view().visualRect(cell(0, 3)).right(), view().viewport()->width() - 1);
    EXPECT_EQ(view().horizontalHeader()->offset(), sideways.value());
}

TEST_F(UniformRowTableViewTest, MovesByTheKeysUpAndDown)
{
    add(100);
    view().setCurrentIndex(cell(0, 0));

    press(Qt::Key_Up);
    EXPECT_EQ(view().currentIndex(), cell(0, 0));
    press(Qt::Key_Down);
    EXPECT_EQ(view().currentIndex(), cell(1, 0));
    press(Qt::Key_PageDown);
    EXPECT_EQ(view().currentIndex(), cell(1 + rowsInView(), 0));
    press(Qt::Key_PageUp);
    EXPECT_EQ(view().currentIndex(), cell(1, 0));
    press(Qt::Key_PageUp);
    EXPECT_EQ(view().currentIndex(), cell(0, 0));
    press(Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(view().currentIndex(), cell(99, 3));
    EXPECT_EQ(bar().value(), bar().maximum());
    press(Qt::Key_Down);
    press(Qt::Key_PageDown);
    EXPECT_EQ(view().currentIndex(), cell(99, 3));
    press(Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(view().currentIndex(), cell(0, 0));
    EXPECT_EQ(bar().value(), 0);
}

TEST_F(UniformRowTableViewTest, PagesByARowWhenNoMoreFit)
{
    add(10);
    view().setCurrentIndex(cell(0, 0));
    view().resize(view().width(), view().height() - view().viewport()->height() + rowHeight() / 2);
    QCoreApplication::processEvents();

    press(Qt::Key_PageDown);

    EXPECT_EQ(view().currentIndex(), cell(1, 0));
    EXPECT_EQ(bar().maximum(), 9);
}

TEST_F(UniformRowTableViewTest, MovesByTheKeysPastHiddenColumns)
{
    add(5);
    view().setCurrentIndex(cell(2, 0));

    press(Qt::Key_Left);
    EXPECT_EQ(view().currentIndex(), cell(2, 0));
    press(Qt::Key_Right);
    EXPECT_EQ(view().currentIndex(), cell(2, 2));
    press(Qt::Key_Left);
    EXPECT_EQ(view().currentIndex(), cell(2, 0));
    press(Qt::Key_End);
    EXPECT_EQ(view().currentIndex(), cell(2, 3));
    press(Qt::Key_Right);
    EXPECT_EQ(view().currentIndex(), cell(2, 3));
    press(Qt::Key_Home);
    EXPECT_EQ(view().currentIndex(), cell(2, 0));
}

TEST_F(UniformRowTableViewTest, MovesNowhereWhenAllColumnsAreHidden)
{
    add(5);
    view().setCurrentIndex({});
    for (const int column : {0, 2, 3})
        view().setColumnHidden(column, true);

    press(Qt::Key_Down);

    EXPECT_FALSE(view().currentIndex().isValid());
}

TEST_F(UniformRowTableViewTest, MovesByTheArrowsTheWayTheyPointFromRightToLeft)
{
    view().setLayoutDirection(Qt::RightToLeft);
    add(5);
    view().setCurrentIndex(cell(2, 0));

    press(Qt::Key_Left);
    EXPECT_EQ(view().currentIndex(), cell(2, 2));
    press(Qt::Key_Right);
    EXPECT_EQ(view().currentIndex(), cell(2, 0));
}

TEST_F(UniformRowTableViewTest, BeginsAtTheTopWhenThereIsNoCurrentCell)
{
    press(Qt::Key_Down);
    EXPECT_FALSE(view().currentIndex().isValid());
    add(5);
    view().selectionModel()->clearCurrentIndex();

    press(Qt::Key_Down);

    EXPECT_EQ(view().currentIndex(), cell(0, 0));
}

TEST_F(UniformRowTableViewTest, SelectsByTheKeys)
{
    add(100);
    click(2);

    press(Qt::Key_Down);
    EXPECT_EQ(selectedRows(), std::vector{3});
    press(Qt::Key_Down, Qt::ShiftModifier);
    press(Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(selectedRows(), (std::vector{3, 4, 5}));
    press(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(selectedRows(), (std::vector{3, 4}));
    press(Qt::Key_PageDown, Qt::ShiftModifier);
    EXPECT_EQ(selectedRows().size(), 2U + static_cast<std::size_t>(rowsInView()));
    press(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(selectedRows().size(), 100U);
}

TEST_F(UniformRowTableViewTest, TakesEveryKeyAsAnOrdinaryTableDoes)
{
    add(100);
    QTableView ordinary;
    ordinary.setModel(&model());
    ordinary.setColumnHidden(1, true);
    ordinary.setSelectionBehavior(QAbstractItemView::SelectRows);
    ordinary.verticalHeader()->hide();
    ordinary.verticalHeader()->setMinimumSectionSize(1);
    ordinary.verticalHeader()->setDefaultSectionSize(rowHeight());
    ordinary.horizontalHeader()->setStretchLastSection(true);
    ordinary.resize(view().size());
    ordinary.show();
    view().setCurrentIndex(cell(0, 0));
    ordinary.setCurrentIndex(cell(0, 0));

    for (const auto modifiers :
         {Qt::KeyboardModifiers{}, Qt::KeyboardModifiers{Qt::ShiftModifier},
          Qt::KeyboardModifiers{Qt::ControlModifier}, Qt::ControlModifier | Qt::ShiftModifier})
        for (const int key :
             {Qt::Key_Down, Qt::Key_PageDown, Qt::Key_PageDown, Qt::Key_Up, Qt::Key_PageUp,
              Qt::Key_Right, Qt::Key_End, Qt::Key_Left, Qt::Key_Home, Qt::Key_Space, Qt::Key_7}) {
            press(key, modifiers);
            QTest::keyClick(&ordinary, static_cast<Qt::Key>(key), modifiers);
            ASSERT_EQ(view().currentIndex(), ordinary.currentIndex()) << key << '+' << modifiers;
            ASSERT_EQ(bar().value(), ordinary.verticalScrollBar()->value())
                << key << '+' << modifiers;
            ASSERT_EQ(view().selectionModel()->selection(), ordinary.selectionModel()->selection())
                << key << '+' << modifiers;
        }
}

TEST_F(UniformRowTableViewTest, SelectsByTheMouse)
{
    add(100);
    bar().setValue(10);

    click(12);
    EXPECT_EQ(selectedRows(), std::vector{12});
    click(14, Qt::ShiftModifier);
    EXPECT_EQ(selectedRows(), (std::vector{12, 13, 14}));
    click(16, Qt::ControlModifier);
    EXPECT_EQ(selectedRows(), (std::vector{12, 13, 14, 16}));
    click(13, Qt::ControlModifier);
    EXPECT_EQ(selectedRows(), (std::vector{12, 14, 16}));
}

TEST_F(UniformRowTableViewTest, TellsWhereASelectionIsInView)
{
    class View : public UniformRowTableView {
      public:
        using UniformRowTableView::visualRegionForSelection;
    };
    View table;
    table.setModel(&model());
    table.resize(view().size());
    table.show();
    add(100);
    table.verticalScrollBar()->setValue(10);
    const auto regionOf = [&](int first, int last) {
        return table.visualRegionForSelection({cell(first, 0), cell(last, 3)});
    };

    EXPECT_TRUE(regionOf(0, 9).isEmpty());
    EXPECT_EQ(regionOf(0, 11).boundingRect().top(), 0);
    EXPECT_EQ(regionOf(0, 11).boundingRect().bottom(), 2 * rowHeight() - 1);
    EXPECT_GE(regionOf(0, 99).boundingRect().height(), table.viewport()->height());
    EXPECT_TRUE(regionOf(70, 99).isEmpty());

    table.resize(table.width(), table.height() - table.viewport()->height() + 3 * rowHeight());
    QCoreApplication::processEvents();
    EXPECT_FALSE(regionOf(12, 12).isEmpty());
    EXPECT_TRUE(regionOf(13, 13).isEmpty());
}

TEST_F(UniformRowTableViewTest, SelectsByDraggingTheMouse)
{
    add(100);
    const auto at = [&](int row) { return view().visualRect(cell(row, 0)).center(); };

    QTest::mousePress(view().viewport(), Qt::LeftButton, {}, at(1));
    QTest::mouseMove(view().viewport(), at(2));
    QTest::mouseMove(view().viewport(), at(4));
    QTest::mouseRelease(view().viewport(), Qt::LeftButton, {}, at(4));

    EXPECT_EQ(selectedRows(), (std::vector{1, 2, 3, 4}));
}

TEST_F(UniformRowTableViewTest, MakesAColumnFitTheTextsInView)
{
    add(10'000'000);

    view().resizeColumnToContents(0);
    const int wide = view().columnWidth(0);
    bar().setValue(bar().maximum());
    view().resizeColumnToContents(0);

    EXPECT_GT(wide, view().fontMetrics().horizontalAdvance(QStringLiteral("9999999/0")));
    EXPECT_LT(view().columnWidth(0), wide);
}

TEST_F(UniformRowTableViewTest, TellsAssistiveTechnologyOfItsCellsAndTitles)
{
    add(100);
    QAccessibleInterface* const table = QAccessible::queryAccessibleInterface(&view());
    ASSERT_TRUE(table && table->tableInterface());
    QAccessibleTableInterface& cells = *table->tableInterface();

    EXPECT_EQ(table->role(), QAccessible::Table);
    EXPECT_EQ(cells.rowCount(), 100);
    EXPECT_EQ(cells.columnCount(), 4);
    EXPECT_EQ(cells.columnDescription(2), QStringLiteral("title 2"));
    QAccessibleInterface* const last = cells.cellAt(99, 3);
    ASSERT_TRUE(last && last->tableCellInterface());
    EXPECT_EQ(last->text(QAccessible::Name), QStringLiteral("0/3"));
    const auto titles = last->tableCellInterface()->columnHeaderCells();
    ASSERT_EQ(titles.size(), 1);
    // The caller owns it.
    const QAccessible::Id title = QAccessible::registerAccessibleInterface(titles.front());
    EXPECT_EQ(titles.front()->text(QAccessible::Name), QStringLiteral("title 3"));
    QAccessible::deleteAccessibleInterface(title);
}

TEST_F(UniformRowTableViewTest, TellsAssistiveTechnologyWhereItsCellsAre)
{
    add(100);
    bar().setValue(20);
    QAccessibleInterface* const table = QAccessible::queryAccessibleInterface(&view());

    const QRect place = table->tableInterface()->cellAt(22, 2)->rect();

    EXPECT_EQ(place.topLeft(),
              view().viewport()->mapToGlobal(view().visualRect(cell(22, 2)).topLeft()));
    QAccessibleInterface* const found = table->childAt(place.center().x(), place.center().y());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->text(QAccessible::Name), QStringLiteral("77/2"));
}

} // namespace
} // namespace veltra
