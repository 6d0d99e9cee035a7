#include "logview/table/UniformRowTableView.h"

#include <QAbstractItemDelegate>
#include <QHeaderView>
#include <QPaintEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QScrollBar>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace veltra {

namespace {

/// A header that never has sections, whatever model the table has.
class EmptyHeader : public QHeaderView {
  public:
    using QHeaderView::QHeaderView;

    void setModel(QAbstractItemModel* /*model*/) override {}
    void setSelectionModel(QItemSelectionModel* /*selection*/) override {}
};

} // namespace

UniformRowTableView::UniformRowTableView(QWidget* parent)
    : QTableView{parent}, rowHeight_{fontMetrics().height() + fontMetrics().height() / 2}
{
    setVerticalHeader(new EmptyHeader{Qt::Vertical, this});
    verticalHeader()->hide();
    setShowGrid(false);
    setCornerButtonEnabled(false);
    setHorizontalScrollMode(ScrollPerPixel);
    // This hides the button in the corner between the headers.
    QTableView::updateGeometries();
}

void UniformRowTableView::reset()
{
    QTableView::reset();
    scheduleDelayedItemsLayout();
}

int UniformRowTableView::rowCount() const
{
    return model() ? model()->rowCount(rootIndex()) : 0;
}

int UniformRowTableView::wholeRowsInView() const
{
    return std::max(1, viewport()->height() / rowHeight_);
}

int UniformRowTableView::verticalOffset() const
{
    return verticalScrollBar()->value() * rowHeight_;
}

// `top` and `bottom` are in pixels of the viewport.
UniformRowTableView::Rows UniformRowTableView::rowsBetween(int top, int bottom) const
{
    const int topRow = verticalScrollBar()->value();
    return {.first = topRow + top / rowHeight_,
            .last = std::min(topRow + bottom / rowHeight_, rowCount() - 1)};
}

QRect UniformRowTableView::placeOf(Rows rows) const
{
    return {0, rows.first * rowHeight_ - verticalOffset(), viewport()->width(),
            (rows.last - rows.first + 1) * rowHeight_};
}

QRect UniformRowTableView::visualRect(const QModelIndex& index) const
{
    if (!index.isValid() || index.parent() != rootIndex() || isIndexHidden(index))
        return {};
    return {columnViewportPosition(index.column()), index.row() * rowHeight_ - verticalOffset(),
            columnWidth(index.column()), rowHeight_};
}

QModelIndex UniformRowTableView::indexAt(const QPoint& position) const
{
    const int y = position.y() + verticalOffset();
    if (!model() || y < 0)
        return {};
    return model()->index(y / rowHeight_, columnAt(position.x()), rootIndex());
}

QRegion UniformRowTableView::visualRegionForSelection(const QItemSelection& selection) const
{
    const Rows inView = rowsBetween(0, viewport()->height() - 1);
    QRegion region;
    for (const QItemSelectionRange& range : selection) {
        const Rows rows{.first = std::max(range.top(), inView.first),
                        .last = std::min(range.bottom(), inView.last)};
        if (rows.first <= rows.last)
            region += placeOf(rows);
    }
    return region;
}

int UniformRowTableView::sizeHintForColumn(int column) const
{
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    const Rows inView = rowsBetween(0, viewport()->height() - 1);
    int width = -1;
    for (int row = inView.first; row <= inView.last; ++row) {
        const QModelIndex index = model()->index(row, column, rootIndex());
        width = std::max(width, itemDelegateForIndex(index)->sizeHint(option, index).width());
    }
    return width;
}

// The first visible column from a position in the header to the right (step 1) or to the left (-1);
// -1 if there is none.
int UniformRowTableView::visibleColumn(int visualIndex, int step) const
{
    const QHeaderView& header = *horizontalHeader();
    // Beyond the ends the header gives -1, which is not hidden.
    while (isColumnHidden(header.logicalIndex(visualIndex)))
        visualIndex += step;
    return header.logicalIndex(visualIndex);
}

int UniformRowTableView::columnBeside(int column, int step) const
{
    const int beside = visibleColumn(horizontalHeader()->visualIndex(column) + step, step);
    return beside == -1 ? column : beside;
}

QModelIndex UniformRowTableView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    const int bottom = rowCount() - 1;
    const int firstColumn = visibleColumn(0, 1);
    if (bottom < 0 || firstColumn == -1)
        return {};
    const QModelIndex current = currentIndex();
    if (!current.isValid())
        return model()->index(0, firstColumn, rootIndex());

    const bool toTheEnds = modifiers.testFlag(Qt::ControlModifier);
    const int forward = isRightToLeft() ? -1 : 1;
    int row = current.row();
    int column = current.column();
    switch (action) {
    case MoveUp:
        --row;
        break;
    case MoveDown:
        ++row;
        break;
    case MovePageUp:
        row -= wholeRowsInView();
        break;
    case MovePageDown:
        row += wholeRowsInView();
        break;
    case MoveLeft:
        column = columnBeside(column, -forward);
        break;
    case MoveRight:
        column = columnBeside(column, forward);
        break;
    case MovePrevious:
        column = columnBeside(column, -1);
        break;
    case MoveNext:
        column = columnBeside(column, 1);
        break;
    case MoveHome:
        column = firstColumn;
        row = toTheEnds ? 0 : row;
        break;
    case MoveEnd:
        column = visibleColumn(horizontalHeader()->count() - 1, -1);
        row = toTheEnds ? bottom : row;
        break;
    }
    return model()->index(std::clamp(row, 0, bottom), column, rootIndex());
}

void UniformRowTableView::scrollTo(const QModelIndex& index, ScrollHint hint)
{
    if (!index.isValid() || index.parent() != rootIndex() || isIndexHidden(index))
        return;
    scrollToRow(index.row(), hint);
    scrollToColumn(index.column(), hint);
}

void UniformRowTableView::scrollToRow(int row, ScrollHint hint)
{
    const int top = verticalScrollBar()->value();
    const int inView = wholeRowsInView();
    if (hint == PositionAtCenter)
        verticalScrollBar()->setValue(row - inView / 2);
    else if (hint == PositionAtTop || (hint == EnsureVisible && row < top))
        verticalScrollBar()->setValue(row);
    else if (hint == PositionAtBottom || row >= top + inView)
        verticalScrollBar()->setValue(row - inView + 1);
}

void UniformRowTableView::scrollToColumn(int column, ScrollHint hint)
{
    const int left = horizontalHeader()->sectionPosition(column);
    const int room = viewport()->width() - columnWidth(column);
    const int offset = horizontalOffset();
    if (hint == PositionAtCenter)
        horizontalScrollBar()->setValue(left - room / 2);
    else if (left < offset || room < 0)
        horizontalScrollBar()->setValue(left);
    else if (left - offset > room)
        horizontalScrollBar()->setValue(left - room);
}

void UniformRowTableView::scrollContentsBy(int dx, int dy)
{
    QTableView::scrollContentsBy(dx, 0);
    if (dy != 0)
        shiftPicture(dy);
}

// Moves the painted content down by that many rows, and has the newly visible rows painted.
void UniformRowTableView::shiftPicture(int rows)
{
    const std::int64_t distance = std::int64_t{rows} * rowHeight_;
    if (std::abs(distance) < viewport()->height())
        viewport()->scroll(0, static_cast<int>(distance));
    else
        viewport()->update();
}

void UniformRowTableView::rowsInserted(const QModelIndex& parent, int first, int last)
{
    QTableView::rowsInserted(parent, first, last);
    updateScrollBars();
    if (first > 0) {
        viewport()->update();
        return;
    }
    const int added = last - first + 1;
    shiftPicture(added);
    if (const int top = verticalScrollBar()->value(); top > 0)
        verticalScrollBar()->setValue(top + added);
}

void UniformRowTableView::rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last)
{
    QTableView::rowsAboutToBeRemoved(parent, first, last);
    scheduleDelayedItemsLayout();
}

void UniformRowTableView::updateGeometries()
{
    if (isLayingOut_)
        return;
    const QScopedValueRollback layingOut{isLayingOut_, true};
    QHeaderView& header = *horizontalHeader();
    const int height =
        header.isHidden() ? 0 : std::max(header.minimumHeight(), header.sizeHint().height());
    setViewportMargins(0, height, 0, 0);
    const QRect area = viewport()->geometry();
    header.setGeometry(area.left(), area.top() - height, area.width(), height);
    updateScrollBars();
}

void UniformRowTableView::updateScrollBars()
{
    const int width = viewport()->width();
    horizontalScrollBar()->setPageStep(width);
    horizontalScrollBar()->setSingleStep(std::max(2, width / 20));
    horizontalScrollBar()->setRange(0, std::max(0, horizontalHeader()->length() - width));
    verticalScrollBar()->setPageStep(wholeRowsInView());
    verticalScrollBar()->setRange(0, std::max(0, rowCount() - wholeRowsInView()));
}

void UniformRowTableView::paintEvent(QPaintEvent* event)
{
    QPainter painter{viewport()};
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    const QModelIndex hovered = hoveredIndex();
    const Rows rows = rowsBetween(event->rect().top(), event->rect().bottom());
    for (int row = rows.first; row <= rows.last; ++row) {
        const bool isStriped = alternatingRowColors() && (rowCount() - row) % 2 == 0;
        option.features.setFlag(QStyleOptionViewItem::Alternate, isStriped);
        for (int column = 0; column < model()->columnCount(rootIndex()); ++column) {
            const QModelIndex index = model()->index(row, column, rootIndex());
            option.rect = visualRect(index);
            if (event->region().intersects(option.rect))
                paintCell(painter, option, index, index == hovered);
        }
    }
}

// Asks the display, which is not to be done for each cell.
QModelIndex UniformRowTableView::hoveredIndex() const
{
    return viewport()->underMouse() ? indexAt(viewport()->mapFromGlobal(QCursor::pos()))
                                    : QModelIndex{};
}

void UniformRowTableView::paintCell(QPainter& painter, QStyleOptionViewItem option,
                                    const QModelIndex& index, bool isHovered) const
{
    option.state.setFlag(QStyle::State_Selected, selectionModel()->isSelected(index));
    option.state.setFlag(QStyle::State_HasFocus, hasFocus() && index == currentIndex());
    option.state.setFlag(QStyle::State_MouseOver, isHovered);
    style()->drawPrimitive(QStyle::PE_PanelItemViewRow, &option, &painter, this);
    itemDelegateForIndex(index)->paint(&painter, option, index);
}

} // namespace veltra
