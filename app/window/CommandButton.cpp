#include "app/window/CommandButton.h"

#include <QKeyEvent>
#include <QResizeEvent>

namespace veltra {

namespace {

constexpr int margin = 6;

} // namespace

CommandButton::CommandButton(QWidget* parent) : QPushButton{parent}, indicator_{this}
{
    // Mouse clicks go to the button below.
    indicator_.setAttribute(Qt::WA_TransparentForMouseEvents);
}

void CommandButton::commandStarted(const QString& description)
{
    ++runningCommands_;
    indicator_.startAnimation();
    setAccessibleDescription(description);
}

void CommandButton::commandEnded()
{
    if (--runningCommands_ > 0)
        return;
    indicator_.stopAnimation();
    setAccessibleDescription({});
}

// Leaves room for the indicator on both sides, so that the title stays in the middle.
QSize CommandButton::sizeHint() const
{
    return QPushButton::sizeHint() + QSize{2 * (indicator_.sizeHint().width() + margin), 0};
}

void CommandButton::keyPressEvent(QKeyEvent* event)
{
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && !event->isAutoRepeat())
        click();
    else
        QPushButton::keyPressEvent(event);
}

void CommandButton::resizeEvent(QResizeEvent* event)
{
    QPushButton::resizeEvent(event);
    const QSize size = indicator_.sizeHint();
    const int left = isRightToLeft() ? width() - size.width() - margin : margin;
    indicator_.setGeometry(left, (height() - size.height()) / 2, size.width(), size.height());
}

} // namespace veltra
