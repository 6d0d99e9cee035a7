#pragma once

#include "channel/client/HelperToolController.h"
#include "channel/client/fakes/FakeHelperConnection.h"
#include "platform/rights/fakes/FakeAuthorization.h"
#include "platform/rights/fakes/FakeServiceManagement.h"

#include <QStringList>

#include <memory>
#include <vector>

namespace veltra {

/// The dependencies of the helper's controllers in a test. Must outlive them.
class FakeHelperDependencies {
  public:
    explicit FakeHelperDependencies(const char* helperCopy)
        : helperCopy_{QString::fromUtf8(helperCopy)}
    {
        authorization.gained().insert(kSMRightBlessPrivilegedHelper);
    }

    /// Also releases the controllers that only their connections keep alive.
    ~FakeHelperDependencies()
    {
        for (const auto& connection : connections)
            connection->abandon();
    }
    FakeHelperDependencies(const FakeHelperDependencies&) = delete;
    FakeHelperDependencies& operator=(const FakeHelperDependencies&) = delete;

    [[nodiscard]] std::shared_ptr<HelperToolController> makeController()
    {
        return HelperToolController::init(dependencies());
    }

    [[nodiscard]] HelperToolController::Dependencies dependencies()
    {
        return std::make_shared<const HelperToolDependencies>(HelperToolDependencies{
            .notifications = notifications,
            .authorization = authorization,
            .serviceManagement = serviceManagement,
            .connect =
                [this] {
                    connections.push_back(std::make_shared<FakeHelperConnection>());
                    connections.back()->setCallHandler(onCall);
                    return connections.back();
                },
            .helperCopy = helperCopy_,
            .outputTaken = [this](const QString& text) { output.append(text); }});
    }

    /// The newest connection.
    [[nodiscard]] FakeHelperConnection& connection() { return *connections.back(); }
    /// The newest call on it.
    [[nodiscard]] FakeHelperConnection::Call& call() { return connection().calls().back(); }

    NotificationCenter notifications;
    FakeAuthorization authorization;
    FakeServiceManagement serviceManagement;
    std::vector<std::shared_ptr<FakeHelperConnection>> connections;
    /// What the controllers were sent so far.
    QStringList output;
    /// Called for every call on connections that are made from then on.
    std::function<void(FakeHelperConnection&, const FakeHelperConnection::Call&)> onCall;

  private:
    QString helperCopy_;
};

} // namespace veltra
