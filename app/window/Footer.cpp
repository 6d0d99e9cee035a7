#include "app/window/Footer.h"

#include "logview/table/SeverityIcon.h"

#include <QHBoxLayout>
#include <QStyle>
#include <QTime>
#include <QVBoxLayout>

namespace veltra {

Footer::Footer(QWidget* parent) : QStatusBar{parent}
{
    setSizeGripEnabled(false);
    auto* lines = new QVBoxLayout{&content_};
    lines->setContentsMargins(9, 0, 9, 2);
    lines->setSpacing(2);
    makeLine(stateLine_, stateSign_, state_);
    setSign(stateSign_, severityIcon("Warning"));
    QFont font = state_.font();
    font.setBold(true);
    state_.setFont(font);
    makeLine(eventLine_, eventSign_, event_);
    setSign(eventSign_, severityIcon("Error"));
    makeLogLine();
    addWidget(&content_, 1);
}

void Footer::makeLine(QWidget& line, QLabel& sign, ElidedLabel& text)
{
    auto* row = new QHBoxLayout{&line};
    row->setContentsMargins({});
    row->addWidget(&sign);
    row->addWidget(&text, 1);
    line.hide();
    content_.layout()->addWidget(&line);
}

void Footer::makeLogLine()
{
    auto* row = new QHBoxLayout;
    row->addWidget(&logTitle_);
    row->addWidget(&followedLog_, 1);
    toolOutputButton_.setCheckable(true);
    toolOutputButton_.setAutoRaise(true);
    toolOutputButton_.setFocusPolicy(Qt::StrongFocus);
    toolOutputButton_.hide();
    row->addWidget(&toolOutputButton_);
    qobject_cast<QVBoxLayout*>(content_.layout())->addLayout(row);
}

void Footer::setSign(QLabel& sign, const QIcon& icon)
{
    const int side = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    sign.setPixmap(icon.pixmap(QSize{side, side}, devicePixelRatioF()));
    sign.setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
}

void Footer::setTexts(const VXStatusResourceController& resources, QWidget* table)
{
    const auto text = [&](const QString& key) { return resources.getLocalisedString(key); };
    logTitle_.setText(text(QStringLiteral("LOG_TITLE")));
    logTitle_.setBuddy(table);
    toolOutputButton_.setText(text(QStringLiteral("TOOL_OUTPUT")));
    // An accessible name would hide the label's text.
    followedLog_.setAccessibleDescription(text(QStringLiteral("FOLLOWED_LOG")));
    state_.setAccessibleDescription(text(QStringLiteral("LASTING_STATE")));
    event_.setAccessibleDescription(text(QStringLiteral("NEWEST_EVENT")));
}

void Footer::showFollowedLog(const QString& text)
{
    followedLog_.setText(text);
}

void Footer::showState(const QString& text)
{
    if (state_.text() == text)
        return;
    state_.setText(text);
    stateLine_.setVisible(!text.isEmpty());
}

void Footer::tell(const QString& event, Outcome outcome)
{
    const QString time = QTime::currentTime().toString(QStringLiteral("HH:mm:ss"));
    eventLine_.show();
    eventSign_.setVisible(outcome == Outcome::bad);
    event_.setText(QStringLiteral("%1  %2").arg(time, event));
}

} // namespace veltra
