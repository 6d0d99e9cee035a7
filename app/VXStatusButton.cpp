#include "app/VXStatusButton.h"

#include "app/DesktopCopy.h"

#include <QCoreApplication>

#include <utility>

namespace veltra {

VXStatusButton::VXStatusButton(VXStatusButtonDependencies dependencies)
    : dependencies_{std::move(dependencies)}
{
}

void VXStatusButton::awakeFromNib()
{
    const std::array titleKeys{
        QStringLiteral("COLLECT_SEND_PROP"),  QStringLiteral("SEND_EVENTS"),
        QStringLiteral("CHECK_NEW_POLICIES"), QStringLiteral("ENFORECE_POLICIES"), // sic
        QStringLiteral("SAVE_TO_DESKTOP"),    QStringLiteral("CLOSE")};
    for (std::size_t index = 0; index < buttons_.size(); ++index)
        if (buttons_[index])
            buttons_[index]->setText(dependencies_.resources.getLocalisedString(titleKeys[index]));
}

void VXStatusButton::collectAndSend(QObject* /*sender*/)
{
    run(QStringLiteral("-p"), buttons_[0]);
}

void VXStatusButton::sendEvents(QObject* /*sender*/)
{
    run(QStringLiteral("-f"), buttons_[1]);
}

void VXStatusButton::checkNewPolicies(QObject* /*sender*/)
{
    run(QStringLiteral("-c"), buttons_[2]);
}

void VXStatusButton::enforcePolicies(QObject* /*sender*/)
{
    run(QStringLiteral("-e"), buttons_[3]);
}

void VXStatusButton::run(const QString& option, const QPointer<CommandButton>& button)
{
    if (button)
        button->commandStarted(
            dependencies_.resources.getLocalisedString(QStringLiteral("COMMAND_RUNNING")));
    dependencies_.helperController()->runCommand(option, [button](const auto&) {
        if (button)
            button->commandEnded();
    });
}

void VXStatusButton::saveContentsToDesktop(QObject* /*sender*/)
{
    [[maybe_unused]] const auto copy =
        copyReplacing(dependencies_.logFolder + dependencies_.resources.getLogFileName(),
                      dependencies_.desktopFolder + QStringLiteral("/Agent_Monitor.log"));
}

void VXStatusButton::close(QObject* /*sender*/)
{
    QCoreApplication::quit();
}

} // namespace veltra
