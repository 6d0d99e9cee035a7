#pragma once

#include "channel/protocol/HelperProtocol.h"
#include "channel/protocol/HelperSide.h"
#include "helper/ClientSignatures.h"
#include "helper/RefusalLog.h"
#include "platform/base/AgentInstallation.h"
#include "platform/base/EventLoop.h"
#include "platform/bus/ServiceListener.h"
#include "platform/bus/TransientUnits.h"
#include "platform/process/ReadingGate.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace veltra {

/// The complete privileged helper: listens for clients that are signed like itself, and runs the
/// agent's command-line tool for them.
///
/// Everything happens on the thread that calls run(), except for examining clients' executables.
class Helper : public HelperProtocol, private ServiceListenerDelegate {
  public:
    /// The settings that tests change.
    struct Setting {
        AgentInstallation agent;
        std::chrono::milliseconds shouldQuitCheckInterval{1000};
        std::string version; ///< empty if the helper has none
    };

    explicit Helper(std::shared_ptr<EventLoop> loop, Setting setting);

    /// Serves until the first connection ends or quit() is called, and at most one interval longer.
    /// Unless quit() was called, it goes on for at most another interval while tools run, so that a
    /// client that has just come gets their output. It then releases the service's name without
    /// losing calls that were sent to it, and waits at most one interval for tools that still run.
    /// When the bus goes away, it ends at once. Fails if it cannot serve.
    [[nodiscard]] Result<> run();

    /// Makes run() end its serving at once, unless it is about to end. Call it on run()'s thread.
    void quit();

    void getVersion(Version completion) override;

    /// Throws if the tool cannot be started. The option is not checked.
    void runCommand(const std::string& withPath, ExitStatus completion) override;

    /// The authorization data is ignored, present or absent.
    void runCommand(const std::string& withPath, const std::optional<AuthorizationData>& authData,
                    ExitStatus completion) override;

  private:
    struct Connection {
        std::shared_ptr<ServiceConnection> connection;
        std::shared_ptr<RemoteApp> remoteObjectProxy;
    };
    using Log = void (AppProtocol::*)(const std::string&);

    bool listener(ServiceListener& listener,
                  const std::shared_ptr<ServiceConnection>& shouldAcceptNewConnection) override;
    void connectionEnded(const ServiceConnection& connection);
    void runTask(const std::string& command, const std::vector<std::string>& arguments,
                 ExitStatus completion);
    [[nodiscard]] Result<> start(Task task);
    [[nodiscard]] std::shared_ptr<void> runningTasks();
    [[nodiscard]] Result<> waitForTasks();
    void forward(std::string_view chunk, Log log);
    [[nodiscard]] bool mayReadOutput() const;
    [[nodiscard]] Result<> prepareUnits();
    [[nodiscard]] Result<> end();
    [[nodiscard]] Result<> serveFor(std::chrono::milliseconds time);

    ServiceListener listener_;
    std::vector<Connection> connections_; // in the order of acceptance
    bool shouldQuit_ = false;
    bool hasBus_ = true; // without it, failures at the end are no news, and there is no waiting
    bool isEnding_ = false;

    std::shared_ptr<ClientSignatures> signatures_ = std::make_shared<ClientSignatures>();
    std::shared_ptr<EventLoop> loop_;
    RefusalLog refusals_{*loop_};
    Setting setting_;
    std::shared_ptr<ReadingGate> gate_ =
        std::make_shared<ReadingGate>(*loop_, [this] { return mayReadOutput(); });
    std::unique_ptr<TransientUnits> units_; // null if systemd does not run
    std::weak_ptr<void> runningTasks_;      // held by the handlers of all running tasks
};

} // namespace veltra
