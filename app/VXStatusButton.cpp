#include "app/VXStatusButton.h"

#include <QCoreApplication>

namespace veltra {

VXStatusButton::VXStatusButton(const VXStatusResourceController& resources) : resources_{resources}
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
            buttons_[index]->setText(resources_.getLocalisedString(titleKeys[index]));
}

void VXStatusButton::close(QObject* /*sender*/)
{
    QCoreApplication::quit();
}

} // namespace veltra
