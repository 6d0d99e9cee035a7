#pragma once

#include "channel/protocol/AppProtocol.h"
#include "channel/protocol/HelperProtocol.h"
#include "helper/ClientSignatures.h"
#include "platform/base/AgentInstallation.h"
#include "platform/base/EventLoop.h"
#include "platform/bus/ServiceListener.h"
#include "platform/bus/TransientUnits.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace veltra {

/// The whole of the privileged helper: listens for clients that are signed like itself, and runs
/// the agent's command-line tool for them.
///
/// All of it happens on the thread that calls run(), but for looking at clients' executables.
class Helper : public HelperProtocol, private ServiceListenerDelegate {
  public:
    /// What tests set otherwise.
    struct Setting {
        AgentInstallation agent;
        std::chrono::milliseconds shouldQuitCheckInterval{1000};
        std::string version;     ///< empty when the helper has none
        bool takesPidfds = true; ///< see ServiceListener::setTakesPidfds
    };

    explicit Helper(std::shared_ptr<EventLoop> loop, Setting setting);

    /// Serves until the first connection ends, or quit() is called, and at most an interval longer;
    /// then gives the service's name back without losing what was sent to it, and waits at most
    /// an interval for tools that still run. Fails when there is no serving.
    [[nodiscard]] Result<> run();

    /// Has run() return at once. On its thread.
    void quit();

    void getVersion(Version completion) override;

    /// Throws when the tool cannot be started. No check is made of the option.
    void runCommand(const std::string& withPath, ExitStatus completion) override;

    /// The authorization data is ignored, present or absent.
    void runCommand(const std::string& withPath, const std::optional<AuthorizationData>& authData,
                    ExitStatus completion) override;

  private:
    struct Connection {
        std::shared_ptr<ServiceConnection> connection;
        std::shared_ptr<AppProtocol> remoteObjectProxy;
    };
    using Log = void (AppProtocol::*)(const std::string&);

    bool listener(ServiceListener& listener,
                  const std::shared_ptr<ServiceConnection>& shouldAcceptNewConnection) override;
    void connectionEnded(const ServiceConnection& connection);
    void runTask(const std::string& command, const std::vector<std::string>& arguments,
                 ExitStatus completion);
    [[nodiscard]] Result<> start(Task task);
    void taskEnded();
    void forward(std::string_view chunk, Log log);
    [[nodiscard]] Result<> prepareUnits();
    [[nodiscard]] Result<> serveFor(std::chrono::milliseconds time);

    ServiceListener listener_;
    std::vector<Connection> connections_; // in the order of their acceptance
    bool shouldQuit_ = false;

    std::shared_ptr<ClientSignatures> signatures_ = std::make_shared<ClientSignatures>();
    std::shared_ptr<EventLoop> loop_;
    Setting setting_;
    std::unique_ptr<TransientUnits> units_; // none where systemd does not run
    int runningTasks_ = 0;
};

} // namespace veltra
