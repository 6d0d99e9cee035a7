#include "app/window/ToolOutputView.h"

#include "app/window/ToolOutput.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QScrollBar>
#include <QTextCursor>

namespace veltra {

ToolOutputView::ToolOutputView(QWidget* parent) : QPlainTextEdit{parent}
{
    setReadOnly(true);
    // With a cursor, text can be selected with the keyboard, too.
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setUndoRedoEnabled(false);
    setTabChangesFocus(true);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
}

void ToolOutputView::add(const QString& text)
{
    QScrollBar* const bar = verticalScrollBar();
    const bool wasAtEnd = bar->value() == bar->maximum();
    QTextCursor cursor{document()};
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
    const int surplus = document()->characterCount() - static_cast<int>(ToolOutput::mostCharacters);
    if (surplus > 0) {
        cursor.setPosition(0);
        cursor.setPosition(surplus, QTextCursor::KeepAnchor);
        cursor.removeSelectedText();
    }
    if (wasAtEnd)
        bar->setValue(bar->maximum());
}

QSize ToolOutputView::sizeHint() const
{
    return sizeForLines(8);
}

QSize ToolOutputView::minimumSizeHint() const
{
    return sizeForLines(2);
}

void ToolOutputView::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        Q_EMIT dismissed();
    else
        QPlainTextEdit::keyPressEvent(event);
}

QSize ToolOutputView::sizeForLines(int lines) const
{
    const int margins = static_cast<int>(2 * document()->documentMargin()) + 2 * frameWidth();
    return {200, lines * fontMetrics().lineSpacing() + margins};
}

} // namespace veltra
