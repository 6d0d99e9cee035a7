#include "app/window/ButtonRows.h"

#include <QStyle>
#include <QWidget>

#include <algorithm>
#include <numeric>

namespace veltra {

ButtonRows::ButtonRows(QWidget* parent) : QLayout{parent}
{
    setContentsMargins(0, 0, 0, 0);
}

ButtonRows::~ButtonRows() = default;

void ButtonRows::addItem(QLayoutItem* item)
{
    items_.emplace_back(item);
}

int ButtonRows::count() const
{
    return static_cast<int>(items_.size());
}

QLayoutItem* ButtonRows::itemAt(int index) const
{
    return index >= 0 && index < count() ? items_[static_cast<std::size_t>(index)].get() : nullptr;
}

QLayoutItem* ButtonRows::takeAt(int index)
{
    if (!itemAt(index))
        return nullptr;
    const auto place = items_.begin() + index;
    QLayoutItem* const item = place->release();
    items_.erase(place);
    return item;
}

QSize ButtonRows::sizeHint() const
{
    return {widthOf(count()), heightOf(count())};
}

QSize ButtonRows::minimumSize() const
{
    const bool isLaidOut = geometry().width() > 0;
    return {widthOf(1), isLaidOut ? heightForWidth(geometry().width()) : rowHeight()};
}

int ButtonRows::heightForWidth(int width) const
{
    return heightOf(columnsIn(width));
}

void ButtonRows::setGeometry(const QRect& area)
{
    const int earlierHeight = minimumSize().height();
    QLayout::setGeometry(area);
    const int columns = columnsIn(area.width());
    QPoint place = area.topLeft();
    for (int first = 0; first < count(); first += columns) {
        auto index = static_cast<std::size_t>(first);
        for (const int width : widthsInRow(first, columns, area.width())) {
            const QRect cell{place, QSize{width, rowHeight()}};
            items_[index]->setGeometry(
                QStyle::visualRect(parentWidget()->layoutDirection(), area, cell));
            place.rx() += width + spacing();
            ++index;
        }
        place = {area.left(), place.y() + rowHeight() + spacing()};
    }
    if (minimumSize().height() != earlierHeight)
        parentWidget()->updateGeometry();
}

int ButtonRows::columnsIn(int width) const
{
    for (int rows = 1; rows < count(); ++rows) {
        const int columns = (count() + rows - 1) / rows;
        if (widthOf(columns) <= width)
            return columns;
    }
    return 1;
}

std::vector<int> ButtonRows::widthsInRow(int first, int columns, int room) const
{
    std::vector<int> widths = columnWidths(columns);
    if (total(widths) > room)
        widths = ownWidths(first, columns);
    widths.resize(static_cast<std::size_t>(std::min(columns, count() - first)));
    const int spare = std::max(0, room - total(widths));
    const int shares = static_cast<int>(widths.size());
    for (int share = 0; share < shares; ++share)
        widths[static_cast<std::size_t>(share)] +=
            spare * (share + 1) / shares - spare * share / shares;
    return widths;
}

std::vector<int> ButtonRows::columnWidths(int columns) const
{
    std::vector<int> widths(static_cast<std::size_t>(columns));
    for (std::size_t index = 0; index < items_.size(); ++index) {
        int& width = widths[index % widths.size()];
        width = std::max(width, items_[index]->sizeHint().width());
    }
    return widths;
}

std::vector<int> ButtonRows::ownWidths(int first, int columns) const
{
    std::vector<int> widths;
    const int end = std::min(first + columns, count());
    for (int index = first; index < end; ++index)
        widths.push_back(items_[static_cast<std::size_t>(index)]->sizeHint().width());
    return widths;
}

int ButtonRows::total(const std::vector<int>& widths) const
{
    const int gaps = static_cast<int>(widths.size()) - 1;
    return std::accumulate(widths.begin(), widths.end(), gaps * spacing());
}

int ButtonRows::widthOf(int columns) const
{
    int width = 0;
    for (int first = 0; first < count(); first += columns)
        width = std::max(width, total(ownWidths(first, columns)));
    return width;
}

int ButtonRows::heightOf(int columns) const
{
    const int rows = (count() + columns - 1) / columns;
    return rows * rowHeight() + (rows - 1) * spacing();
}

int ButtonRows::rowHeight() const
{
    int height = 0;
    for (const auto& item : items_)
        height = std::max(height, item->sizeHint().height());
    return height;
}

} // namespace veltra
