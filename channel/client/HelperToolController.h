#pragma once

#include "channel/client/HelperConnection.h"
#include "platform/desktop/NotificationCenter.h"
#include "platform/rights/AuthorizationServices.h"
#include "platform/rights/ServiceManagement.h"

#include <QByteArray>
#include <QMutex>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace veltra {

/// The dependencies of the helper's controllers. All of them must outlive the controllers.
struct HelperToolDependencies {
    NotificationCenter& notifications;
    AuthorizationServices& authorization;
    ServiceManagement& serviceManagement;
    /// Makes a connection to the helper's service.
    std::function<std::shared_ptr<HelperConnection>()> connect;
    /// The copy of the helper in the program's bundle.
    QString helperCopy;
    /// Called with every piece of output that is not empty, on the connection's thread. May be
    /// empty.
    std::function<void(const QString&)> outputTaken = {};
};

/// The program's client of the privileged helper: installs it, asks it for its version, sends it
/// commands for the agent and keeps their output.
///
/// A controller is kept alive by its creator and by its connection until that is invalidated; it is
/// destroyed on the main thread. Its functions are called there unless stated otherwise.
class HelperToolController : public QObject {
    Q_OBJECT
    Q_PROPERTY(
        QByteArray currentHelperAuthData READ currentHelperAuthData WRITE setCurrentHelperAuthData)
    Q_PROPERTY(QString currentHelperAuthDataKeyPath READ currentHelperAuthDataKeyPath)
    Q_PROPERTY(bool helperIsInstalled READ helperIsInstalled WRITE setHelperIsInstalled)
    Q_PROPERTY(QString helperIsInstalledKeyPath READ helperIsInstalledKeyPath)
    Q_PROPERTY(QString command READ command)
    Q_PROPERTY(QString commandOutPut READ getCommandOutPut)
    Q_PROPERTY(bool helperInstalled MEMBER helperInstalled_)

  public:
    /// Receives whether a helper of the same version as the copy answers.
    using Status = std::function<void(bool)>;
    /// Receives why the helper will not answer.
    using Failure = std::function<void(const HelperFailure&)>;

    /// How a command ended: the tool's exit status, or why there is none.
    using CommandEnd = std::variant<std::int32_t, HelperFailure>;

    using Dependencies = std::shared_ptr<const HelperToolDependencies>;

    /// The controller has no connection yet and has sent nothing.
    [[nodiscard]] static std::shared_ptr<HelperToolController> init(Dependencies dependencies);

    ~HelperToolController() override;

    /// Installs the helper, or replaces it. Waits while the user is asked for consent.
    Q_INVOKABLE void installHelper();

    /// Registers the rights that guard the helper's commands. Sends nothing to the helper.
    Q_INVOKABLE void LaunchHelper();

    /// Calls `completion` once: immediately, or on the connection's thread.
    Q_INVOKABLE void helperStatusWithCompletion(const Status& completion);

    /// Has the helper run the agent's command-line tool with one option. Its output arrives through
    /// logWithStdOut() and logWithStdErr(). `ended`, if set, is called on the main thread when the
    /// command is over.
    Q_INVOKABLE void runCommand(const QString& option) { runCommand(option, {}); }
    void runCommand(const QString& option, std::function<void(const CommandEnd&)> ended);

    /// Releases the connection, which then no longer keeps the controller alive. Used when the
    /// program ends.
    void disconnectHelper();

    /// Output of a command, as sent by the helper. Any thread.
    Q_INVOKABLE void logWithStdOut(const QString& text);
    Q_INVOKABLE void logWithStdErr(const QString& text);

    /// The latest piece of output that was not empty; empty if there is none. Any thread.
    Q_INVOKABLE [[nodiscard]] QString getCommandOutPut() const;

    /// The external form of an authorization to send with commands; null to make a new one for
    /// each. Not used by the program itself; part of the interface.
    [[nodiscard]] QByteArray currentHelperAuthData() const { return currentHelperAuthData_; }
    Q_INVOKABLE void setCurrentHelperAuthData(const QByteArray& data)
    {
        currentHelperAuthData_ = data;
    }
    /// Not used by the program itself; part of the interface.
    [[nodiscard]] bool helperIsInstalled() const { return helperIsInstalled_; }
    Q_INVOKABLE void setHelperIsInstalled(bool isInstalled) { helperIsInstalled_ = isInstalled; }

    /// The names of the two properties, once installHelper() has been called; empty before.
    /// Not used by the program itself; part of the interface.
    [[nodiscard]] QString currentHelperAuthDataKeyPath() const;
    [[nodiscard]] QString helperIsInstalledKeyPath() const;
    /// The option that was sent last. Any thread. Not used by the program itself; part of the
    /// interface.
    [[nodiscard]] QString command() const;
    /// The connection to the helper, if there is one. Any thread.
    [[nodiscard]] std::shared_ptr<HelperConnection> currentHelperConnection() const;

  protected:
    explicit HelperToolController(Dependencies dependencies);

    /// Like init(), for subclasses.
    [[nodiscard]] static std::shared_ptr<HelperToolController>
    adopt(std::unique_ptr<HelperToolController> controller);

    /// The current connection; a new one if there is none.
    virtual std::shared_ptr<HelperConnection> helperConnection();
    /// The helper. If it fails, `completion`, if set, is called with false on the connection's
    /// thread, and before it `failed`, if set.
    virtual std::shared_ptr<HelperProtocol> helper(const Status& completion, const Failure& failed);
    /// Whether the helper was installed. Throws if it was refused with a reason.
    virtual bool helperInstall();

  private:
    class Output;
    /// The state that the connection's thread uses too.
    struct Exchange {
        QString command;
        QString commandOutPut = QStringLiteral(""); // never null
        std::shared_ptr<HelperConnection> connection;
    };

    void accept(const std::shared_ptr<HelperConnection>& from, const QString& text);
    void take(const QString& text);
    void forgetConnection(const std::shared_ptr<HelperConnection>& ended);
    [[nodiscard]] std::variant<HelperProtocol::AuthorizationData, HelperFailure>
    authorizationData();
    [[nodiscard]] std::optional<std::string> versionOfCopy() const;

    Dependencies dependencies_;
    std::weak_ptr<HelperToolController> self_; // for who holds the controller
    mutable QMutex mutex_;
    Exchange exchange_; // guarded by the mutex

    QByteArray currentHelperAuthData_;
    bool hasKeyPaths_ = false;
    bool helperIsInstalled_ = false;
    bool helperInstalled_ = false;
};

} // namespace veltra
