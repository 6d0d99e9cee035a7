#include "app/Footer.h"

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
    makeStateLine();
    makeNewsLine();
    addWidget(&content_, 1);
}

void Footer::makeStateLine()
{
    auto* line = new QHBoxLayout{&stateLine_};
    line->setContentsMargins({});
    setSign(stateSign_, severityIcon("Warning"));
    QFont font = state_.font();
    font.setBold(true);
    state_.setFont(font);
    line->addWidget(&stateSign_);
    line->addWidget(&state_, 1);
    stateLine_.hide();
    content_.layout()->addWidget(&stateLine_);
}

void Footer::makeNewsLine()
{
    auto* line = new QHBoxLayout;
    line->addWidget(&logTitle_);
    line->addWidget(&followedLog_);
    line->addSpacing(12);
    setSign(eventSign_, severityIcon("Error"));
    eventSign_.hide();
    line->addWidget(&eventSign_);
    // The event gets the room that the log's name leaves.
    event_.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    line->addWidget(&event_, 1);
    toolOutputButton_.setCheckable(true);
    toolOutputButton_.setAutoRaise(true);
    toolOutputButton_.setFocusPolicy(Qt::StrongFocus);
    toolOutputButton_.hide();
    line->addWidget(&toolOutputButton_);
    static_cast<QVBoxLayout*>(content_.layout())->addLayout(line);
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
    eventSign_.setVisible(outcome == Outcome::bad);
    event_.setText(QStringLiteral("%1  %2").arg(time, event));
}

} // namespace veltra
