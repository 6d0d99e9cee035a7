#include "app/VXStatusButton.h"

#include "app/DesktopCopy.h"
#include "app/ErrorReason.h"
#include "app/FilledText.h"
#include "channel/protocol/HelperConstants.h"

#include <QCoreApplication>

#include <array>
#include <utility>
#include <variant>

namespace veltra {

namespace {

const std::array titleKeys{
    QStringLiteral("COLLECT_SEND_PROP"),  QStringLiteral("SEND_EVENTS"),
    QStringLiteral("CHECK_NEW_POLICIES"), QStringLiteral("ENFORECE_POLICIES"), // sic
    QStringLiteral("SAVE_TO_DESKTOP"),    QStringLiteral("CLOSE")};

// The catalogue names the letter beside the title, which thus stays what it is.
QString withMnemonic(QString title, const QString& letter)
{
    const auto place = letter.size() == 1 ? title.indexOf(letter) : -1;
    return place < 0 ? title : title.insert(place, QLatin1Char{'&'});
}

} // namespace

VXStatusButton::VXStatusButton(VXStatusButtonDependencies dependencies)
    : dependencies_{std::move(dependencies)}
{
}

void VXStatusButton::awakeFromNib()
{
    for (std::size_t index = 0; index < buttons_.size(); ++index)
        if (buttons_[index])
            buttons_[index]->setText(withMnemonic(
                text(titleKeys[index]), text(titleKeys[index] + QLatin1String{"_LETTER"})));
}

void VXStatusButton::collectAndSend(QObject* /*sender*/)
{
    run(QStringLiteral("-p"), 0);
}

void VXStatusButton::sendEvents(QObject* /*sender*/)
{
    run(QStringLiteral("-f"), 1);
}

void VXStatusButton::checkNewPolicies(QObject* /*sender*/)
{
    run(QStringLiteral("-c"), 2);
}

void VXStatusButton::enforcePolicies(QObject* /*sender*/)
{
    run(QStringLiteral("-e"), 3);
}

void VXStatusButton::run(const QString& option, std::size_t index)
{
    if (buttons_[index])
        buttons_[index]->commandStarted(text(QStringLiteral("COMMAND_RUNNING")));
    if (toolOutput_ && runningCommands_ == 0)
        toolOutput_->clear();
    ++runningCommands_;
    dependencies_.helperController()->runCommand(
        option, [self = QPointer{this}, index](const HelperToolController::CommandEnd& end) {
            if (self)
                self->commandEnded(index, end);
        });
}

void VXStatusButton::commandEnded(std::size_t index, const HelperToolController::CommandEnd& end)
{
    --runningCommands_;
    if (buttons_[index])
        buttons_[index]->commandEnded();
    const QString title = text(titleKeys[index]);
    if (const auto* const failure = std::get_if<HelperFailure>(&end)) {
        const bool isNotRun = failure->kind == HelperFailure::Kind::notRun;
        tell(text(isNotRun ? QStringLiteral("COMMAND_NOT_RUN")
                           : QStringLiteral("HELPER_NOT_REACHABLE"),
                  {title, QString::fromStdString(failure->reason)}),
             Outcome::bad);
        return;
    }
    const auto status = std::get<std::int32_t>(end);
    if (status == 0)
        tell(text(QStringLiteral("COMMAND_DONE"), {title}), Outcome::good);
    else if (status == kAuthorizationFailedExitCode)
        tell(text(QStringLiteral("COMMAND_NOT_AUTHORIZED"), {title}), Outcome::bad);
    else
        tell(text(QStringLiteral("COMMAND_STATUS"), {title, QString::number(status)}),
             Outcome::bad);
}

void VXStatusButton::saveContentsToDesktop(QObject* /*sender*/)
{
    const QString target = dependencies_.desktopFolder + QStringLiteral("/Agent_Monitor.log");
    const auto copy =
        copyReplacing(dependencies_.logFolder + dependencies_.resources.getLogFileName(), target);
    if (!copy)
        tell(text(QStringLiteral("NOT_SAVED"), {reasonOf(copy.error())}), Outcome::bad);
    else if (const auto& unread = copy.value().unread)
        tell(text(QStringLiteral("SAVED_UNREAD"), {target, reasonOf(*unread)}), Outcome::bad);
    else
        tell(text(QStringLiteral("SAVED"), {target}), Outcome::good);
}

QString VXStatusButton::text(const QString& key, const QStringList& arguments) const
{
    const QString format = dependencies_.resources.getLocalisedString(key);
    return arguments.isEmpty() ? format : filledText(format, arguments);
}

void VXStatusButton::tell(const QString& event, Outcome outcome)
{
    if (footer_)
        footer_->tell(event, outcome);
}

void VXStatusButton::close(QObject* /*sender*/)
{
    QCoreApplication::quit();
}

} // namespace veltra
