#include "app/window/ElidedLabel.h"

#include "logview/table/PlainToolTip.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace veltra {

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel{parent}
{
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, QLabel::minimumSizeHint().height()};
}

bool ElidedLabel::event(QEvent* event)
{
    const auto* const help = dynamic_cast<const QHelpEvent*>(event);
    if (!help || help->type() != QEvent::ToolTip)
        return QLabel::event(event);
    const bool isCutShort = shownText() != text();
    QToolTip::showText(help->globalPos(), isCutShort ? plainToolTip(text()) : QString{}, this);
    return true;
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter{this};
    const int alignment =
        static_cast<int>(QStyle::visualAlignment(layoutDirection(), this->alignment()));
    style()->drawItemText(&painter, contentsRect(), alignment | Qt::TextSingleLine, palette(),
                          isEnabled(), shownText(), foregroundRole());
}

QString ElidedLabel::shownText() const
{
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
}

} // namespace veltra
