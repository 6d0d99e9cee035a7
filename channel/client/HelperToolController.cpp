#include "channel/client/HelperToolController.h"

#include "channel/client/HelperAuthorization.h"
#include "channel/protocol/HelperConstants.h"
#include "platform/bundle/ExecutableInformation.h"
#include "platform/desktop/MainQueue.h"
#include "platform/log/SystemLog.h"

#include <QFile>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

namespace veltra {

namespace {

void print(const char* line)
{
    std::puts(line);
    std::fflush(stdout);
}

// QObjects must be destroyed on their own thread, whichever thread releases the last reference.
struct DestroyOnMainThread {
    void operator()(HelperToolController* controller) const
    {
        if (MainQueue::isMainThread())
            delete controller;
        else
            MainQueue::post([controller] { delete controller; });
    }
};

} // namespace

/// Receives the output of one connection for the controller, without keeping it alive.
class HelperToolController::Output : public AppProtocol {
  public:
    Output(std::weak_ptr<HelperToolController> controller,
           std::weak_ptr<HelperConnection> connection)
        : controller_{std::move(controller)}, connection_{std::move(connection)}
    {
    }

    // Error output is treated like standard output.
    void logWithStdOut(const std::string& text) override { pass(text); }
    void logWithStdErr(const std::string& text) override { pass(text); }

  private:
    void pass(const std::string& text)
    {
        if (const auto controller = controller_.lock())
            controller->accept(connection_.lock(), QString::fromStdString(text));
    }

    std::weak_ptr<HelperToolController> controller_;
    std::weak_ptr<HelperConnection> connection_;
};

std::shared_ptr<HelperToolController> HelperToolController::init(Dependencies dependencies)
{
    return adopt(
        std::unique_ptr<HelperToolController>{new HelperToolController{std::move(dependencies)}});
}

std::shared_ptr<HelperToolController>
HelperToolController::adopt(std::unique_ptr<HelperToolController> controller)
{
    std::shared_ptr<HelperToolController> shared{controller.release(), DestroyOnMainThread{}};
    shared->self_ = shared;
    return shared;
}

HelperToolController::HelperToolController(Dependencies dependencies)
    : dependencies_{std::move(dependencies)}
{
}

HelperToolController::~HelperToolController() = default;

void HelperToolController::installHelper()
{
    hasKeyPaths_ = true;
    try {
        if (!helperInstall())
            SystemLog::log("The helper was not installed; no reason was given");
    } catch (const std::exception& error) {
        SystemLog::log({"The helper was not installed: ", error.what()});
        MainQueue::post([] { print("Failed to install helper"); });
    }
}

QString HelperToolController::currentHelperAuthDataKeyPath() const
{
    return hasKeyPaths_ ? QStringLiteral("currentHelperAuthData") : QString{};
}

QString HelperToolController::helperIsInstalledKeyPath() const
{
    return hasKeyPaths_ ? QStringLiteral("helperIsInstalled") : QString{};
}

void HelperToolController::LaunchHelper()
{
    try {
        HelperAuthorization::authorizationRightsUpdateDatabase(dependencies_->authorization);
    } catch (const std::exception& error) {
        SystemLog::log({"The helper's rights were not registered: ", error.what()});
        print("unable to launch helper");
    }
}

std::shared_ptr<HelperConnection> HelperToolController::helperConnection()
{
    if (auto current = currentHelperConnection())
        return current;

    auto connection = dependencies_->connect();
    connection->setExportedObject(std::make_shared<Output>(self_, connection));
    // At once and not on the main thread, which may be about to send a command.
    connection->setInvalidationHandler([self = self_.lock(), weak = std::weak_ptr{connection}] {
        const auto ended = weak.lock();
        if (!ended)
            return;
        ended->setInvalidationHandler({});
        self->forgetConnection(ended);
    });
    {
        const QMutexLocker lock{&mutex_};
        exchange_.connection = connection;
    }
    connection->resume();
    return connection;
}

// By then another connection may have replaced it.
void HelperToolController::forgetConnection(const std::shared_ptr<HelperConnection>& ended)
{
    const QMutexLocker lock{&mutex_};
    if (exchange_.connection == ended)
        exchange_.connection.reset();
}

void HelperToolController::disconnectHelper()
{
    // The connection may hold the last reference to the controller. So it is released first, and
    // without the lock.
    const auto self = self_.lock();
    std::shared_ptr<HelperConnection> connection;
    const QMutexLocker lock{&mutex_};
    connection.swap(exchange_.connection);
}

void HelperToolController::helperStatusWithCompletion(const Status& completion)
{
    const auto version = versionOfCopy();
    const auto proxy = version ? helper(completion, {}) : nullptr;
    if (!proxy) {
        completion(false);
        return;
    }
    // Any other version does not match the copy's, even if it is newer.
    proxy->getVersion(
        [completion, version](const std::string& installed) { completion(installed == *version); });
}

std::optional<std::string> HelperToolController::versionOfCopy() const
{
    const std::string path = QFile::encodeName(dependencies_->helperCopy).toStdString();
    const auto information = informationOfExecutable(path);
    return information ? information.value().text("CFBundleShortVersionString") : std::nullopt;
}

std::shared_ptr<HelperProtocol> HelperToolController::helper(const Status& completion,
                                                             const Failure& failed)
{
    const auto connection = helperConnection();
    if (!connection)
        return nullptr;
    return connection->remoteObjectProxyWithErrorHandler(
        [completion, failed](const HelperFailure& failure) {
            if (failed)
                failed(failure);
            if (completion)
                completion(false);
        });
}

bool HelperToolController::helperInstall()
{
    const AuthorizationItemSet rights{{kSMRightBlessPrivilegedHelper}};
    const AuthorizationRef authorization = HelperAuthorization::authorizationRef(
        &rights, nullptr,
        kAuthorizationFlagInteractionAllowed | kAuthorizationFlagExtendRights |
            kAuthorizationFlagPreAuthorize,
        dependencies_->authorization);
    if (!authorization)
        return false;

    const auto outcome = dependencies_->serviceManagement.SMJobBless(
        kSMDomainSystemLaunchd, HelperConstants::machServiceName, authorization);
    if (outcome.error && !outcome.isDone)
        throw std::runtime_error{outcome.error->message()};
    if (!outcome.isDone)
        return false;
    // The next call must reach the helper that is installed now.
    if (const auto connection = currentHelperConnection()) {
        connection->invalidate();
        forgetConnection(connection);
    }
    return true;
}

void HelperToolController::runCommand(const QString& option,
                                      std::function<void(const CommandEnd&)> ended)
{
    const auto tell = [ended = std::move(ended)](const CommandEnd& end) {
        if (ended)
            MainQueue::post([ended, end] { ended(end); });
    };
    const auto reach = [this, &tell] {
        auto proxy = helper({}, tell);
        if (!proxy)
            tell(HelperFailure{HelperFailure::Kind::notReachable, "there is no connection"});
        return proxy;
    };
    if (!reach())
        return;
    const auto data = authorizationData();
    if (const auto* const failure = std::get_if<HelperFailure>(&data)) {
        tell(*failure);
        return;
    }
    // The connection may have ended while the authorization was made.
    const auto proxy = reach();
    if (!proxy)
        return;
    {
        const QMutexLocker lock{&mutex_};
        exchange_.command = option;
    }
    // Only output reaches the user, not the exit status, even if an authorization failed.
    proxy->runCommand(option.toStdString(), std::get<HelperProtocol::AuthorizationData>(data),
                      tell);
}

std::variant<HelperProtocol::AuthorizationData, HelperFailure>
HelperToolController::authorizationData()
{
    constexpr auto notRun = HelperFailure::Kind::notRun;
    if (!currentHelperAuthData_.isNull())
        return HelperProtocol::AuthorizationData{currentHelperAuthData_.begin(),
                                                 currentHelperAuthData_.end()};
    try {
        auto data =
            HelperAuthorization::emptyAuthorizationExternalFormData(dependencies_->authorization);
        if (!data)
            return HelperFailure{notRun, "there is no authorization"};
        return std::move(*data);
    } catch (const std::exception& error) {
        print("Command execution failed");
        return HelperFailure{notRun, error.what()};
    }
}

// Output that still arrives from an earlier connection is not from the helper that runs now.
void HelperToolController::accept(const std::shared_ptr<HelperConnection>& from,
                                  const QString& text)
{
    if (from && from == currentHelperConnection())
        take(text);
}

void HelperToolController::logWithStdOut(const QString& text)
{
    take(text);
}

void HelperToolController::logWithStdErr(const QString& text)
{
    take(text);
}

void HelperToolController::take(const QString& text)
{
    if (text.isEmpty())
        return;
    bool isInformation = false;
    {
        const QMutexLocker lock{&mutex_};
        exchange_.commandOutPut = text;
        isInformation = exchange_.command == QStringLiteral("-i");
    }
    if (dependencies_->outputTaken)
        dependencies_->outputTaken(text);
    if (isInformation)
        dependencies_->notifications.postNotificationName(QStringLiteral("commandUpdate"));
}

QString HelperToolController::getCommandOutPut() const
{
    const QMutexLocker lock{&mutex_};
    return exchange_.commandOutPut;
}

QString HelperToolController::command() const
{
    const QMutexLocker lock{&mutex_};
    return exchange_.command;
}

std::shared_ptr<HelperConnection> HelperToolController::currentHelperConnection() const
{
    const QMutexLocker lock{&mutex_};
    return exchange_.connection;
}

} // namespace veltra
