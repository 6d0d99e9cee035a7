#include "logview/table/LogTableView.h"

#include "logview/rows/TabSeparatedRow.h"
#include "logview/table/LogTableModel.h"
#include "logview/table/LogText.h"
#include "logview/table/PlainToolTip.h"

#include <QAbstractItemDelegate>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCoreApplication>
#include <QHeaderView>
#include <QHelpEvent>
#include <QStyle>
#include <QToolTip>

#include <algorithm>
#include <vector>

namespace veltra {

namespace {

std::vector<int> selectedRowsOf(const QItemSelectionModel& selection)
{
    std::vector<int> rows;
    for (const QItemSelectionRange& range : selection.selection())
        for (int row = range.top(); row <= range.bottom(); ++row)
            rows.push_back(row);
    std::ranges::sort(rows);
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

} // namespace

LogTableView::LogTableView(QWidget* parent) : UniformRowTableView{parent}
{
    setSelectionBehavior(SelectRows);
    setSelectionMode(ExtendedSelection);
    setEditTriggers(NoEditTriggers);
    setAlternatingRowColors(true);
    setWordWrap(false);
    setTabKeyNavigation(false);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setStretchLastSection(true);
    makeCopyAction();
}

void LogTableView::makeCopyAction()
{
    // Qt has this text in every language, for its own context menus.
    auto* copy = new QAction{QCoreApplication::translate("QWidgetTextControl", "&Copy"), this};
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    connect(copy, &QAction::triggered, this, &LogTableView::copySelectedRows);
    addAction(copy);
    setContextMenuPolicy(Qt::ActionsContextMenu);
}

void LogTableView::setModel(QAbstractItemModel* model)
{
    UniformRowTableView::setModel(model);
    makeTopRowCurrent();
}

void LogTableView::copySelectedRows()
{
    const auto* log = qobject_cast<const LogTableModel*>(model());
    if (!log || !selectionModel()->hasSelection())
        return;

    std::string text;
    for (const int row : selectedRowsOf(*selectionModel()))
        text.append(tabSeparatedRow(log->texts(row))).append("\n");
    QApplication::clipboard()->setText(logText(text));
}

void LogTableView::layOutColumns()
{
    const int margin = 4 * (style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 2);
    const auto widthFor = [this, margin](LogTableModel::Column column, const QString& usual) {
        const QString title = model()->headerData(column, Qt::Horizontal).toString();
        const int text = std::max(fontMetrics().horizontalAdvance(usual),
                                  fontMetrics().horizontalAdvance(title));
        return text + fontMetrics().averageCharWidth() * 2 + margin;
    };
    setColumnWidth(LogTableModel::dateColumn,
                   widthFor(LogTableModel::dateColumn, QStringLiteral("2000-00-00")));
    setColumnWidth(LogTableModel::timeColumn,
                   widthFor(LogTableModel::timeColumn, QStringLiteral("00:00:00")));
    setColumnWidth(LogTableModel::componentColumn,
                   widthFor(LogTableModel::componentColumn, QStringLiteral("MMMMMMMMMM")));
    setColumnWidth(LogTableModel::messageTypeColumn,
                   widthFor(LogTableModel::messageTypeColumn, QStringLiteral("MWarning")) +
                       style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this));
}

void LogTableView::rowsInserted(const QModelIndex& parent, int first, int last)
{
    UniformRowTableView::rowsInserted(parent, first, last);
    makeTopRowCurrent();
}

bool LogTableView::viewportEvent(QEvent* event)
{
    const auto* const help = dynamic_cast<const QHelpEvent*>(event);
    if (!help || help->type() != QEvent::ToolTip)
        return UniformRowTableView::viewportEvent(event);
    showToolTip(*help);
    return true;
}

void LogTableView::showToolTip(const QHelpEvent& event)
{
    const QModelIndex index = indexAt(event.pos());
    if (isCutShort(index))
        QToolTip::showText(event.globalPos(), plainToolTip(index.data().toString()), viewport(),
                           visualRect(index));
    else
        QToolTip::hideText();
}

bool LogTableView::isCutShort(const QModelIndex& index) const
{
    if (!index.isValid())
        return false;
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    const QSize wanted = itemDelegateForIndex(index)->sizeHint(option, index);
    return wanted.width() > columnWidth(index.column());
}

// Assistive technology asks a table for its current cell, and may fail if there is none.
void LogTableView::makeTopRowCurrent()
{
    if (!selectionModel() || currentIndex().isValid() || !model() || model()->rowCount() == 0)
        return;
    selectionModel()->setCurrentIndex(model()->index(0, 0), QItemSelectionModel::NoUpdate);
}

} // namespace veltra
