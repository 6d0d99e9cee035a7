#include "app/HelperControllers.h"

#include "channel/protocol/HelperConstants.h"
#include "platform/desktop/Bundle.h"
#include "platform/rights/PolkitAuthorization.h"
#include "platform/rights/SystemServiceManagement.h"

#include <utility>

namespace veltra {

namespace {

QString helperCopy()
{
    const auto bundle = Bundle::mainBundle();
    return bundle ? bundle->path() + QStringLiteral("/Contents/Library/LaunchServices/") +
                        QString::fromUtf8(HelperConstants::machServiceName)
                  : QString{};
}

} // namespace

HelperControllers::HelperControllers(std::function<void(const QString&)> outputTaken)
    : dependencies_{std::make_shared<const HelperToolDependencies>(HelperToolDependencies{
          .notifications = NotificationCenter::defaultCenter(),
          .authorization = systemAuthorization(),
          .serviceManagement = systemServiceManagement(),
          .connect = [] { return makeSystemHelperConnection(HelperConstants::machServiceName); },
          .helperCopy = helperCopy(),
          .outputTaken = std::move(outputTaken)})}
{
}

HelperControllers::~HelperControllers()
{
    for (const auto& weak : made_)
        if (const auto controller = weak.lock())
            controller->disconnectHelper();
}

std::shared_ptr<HelperToolController> HelperControllers::make()
{
    auto controller = HelperToolController::init(dependencies_);
    std::erase_if(made_, [](const auto& weak) { return weak.expired(); });
    made_.emplace_back(controller);
    return controller;
}

} // namespace veltra
