#include "bench/PaintWatch.h"

#include <QPaintEvent>

#include <utility>

namespace veltra {

void PaintWatch::watchTopRow(const QTableView& table, std::function<void()> onPainted)
{
    table_ = &table;
    onPainted_ = std::move(onPainted);
}

void PaintWatch::watchNothing()
{
    table_ = nullptr;
}

// The window flushes what its widgets have painted within the same event.
bool PaintWatch::notify(QObject* receiver, QEvent* event)
{
    if (paintsTopRow(receiver, *event))
        isPainted_ = true;
    ++depth_;
    const bool isTaken = QApplication::notify(receiver, event);
    --depth_;
    if (depth_ == 0 && std::exchange(isPainted_, false) && table_)
        onPainted_();
    return isTaken;
}

bool PaintWatch::paintsTopRow(const QObject* receiver, const QEvent& event) const
{
    const auto* const paint = dynamic_cast<const QPaintEvent*>(&event);
    if (!paint || !table_ || receiver != table_->viewport())
        return false;
    const QRect row = table_->visualRect(table_->model()->index(0, 0));
    return paint->region().contains(row.center());
}

} // namespace veltra
