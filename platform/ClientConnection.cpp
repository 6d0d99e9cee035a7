#include "platform/ClientConnection.h"

#include "platform/ConnectionNames.h"
#include "platform/SystemLog.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace veltra {

using namespace connections;

namespace {

// Each takes an instance of the service that ended just then; more is no coincidence.
constexpr int mostAttempts = 10;

// Guards the handlers of all connections, which are many; none is called under it.
std::mutex handlerMutex;

ServiceBus::ClientNumber newNumber()
{
    static std::atomic<ServiceBus::ClientNumber> last{0};
    return ++last;
}

// Whether the error says that the service has not seen the call.
bool isUnseen(const sdbus::Error& error)
{
    return error.getName() == unknownObjectError;
}

} // namespace

/// What a connection is on the bus's thread, which is the only one to use it but for the handler.
class ClientConnection::Link : public ServiceBusClient, public std::enable_shared_from_this<Link> {
  public:
    Link(ServiceBus& bus, const char* service) : bus_{bus}, service_{service} {}

    [[nodiscard]] ServiceBus& bus() const noexcept { return bus_; }

    void setInvalidationHandler(std::function<void()> handler)
    {
        const std::lock_guard lock{handlerMutex};
        onEnd_ = std::move(handler);
    }

    void setExportedObject(Receiver takeCall) { takeCall_ = std::move(takeCall); }

    void resume()
    {
        isResumed_ = true;
        flush();
    }

    void send(std::shared_ptr<ServiceCall> call)
    {
        if (isInvalid_) {
            call->fail();
            return;
        }
        queue_.push_back({std::move(call), 0});
        flush();
    }

    void invalidate()
    {
        closeAtServer();
        end();
    }

    [[nodiscard]] std::string_view service() const override { return service_; }

    // Calls that the instance has not seen go to the next one.
    void ownerChanged(const std::string& owner) override
    {
        if (serverName_.empty() || owner == serverName_)
            return;
        serverPath_.clear();
        serverName_.clear();
        notifyOfEnd();
    }

    void called(sdbus::Message& call) override
    {
        if (takeCall_ && !serverName_.empty() && call.getSender() == serverName_)
            takeCall_(call);
    }

    void letGo()
    {
        isInvalid_ = true;
        closeWhenDone();
    }

  private:
    struct Queued {
        std::shared_ptr<ServiceCall> call;
        int attempts = 0;
    };

    void flush()
    {
        if (!isResumed_ || queue_.empty())
            return;
        if (serverPath_.empty()) {
            open();
            return;
        }
        for (Queued& queued : std::exchange(queue_, {}))
            bus_.whenThereIsRoom([self = shared_from_this(), queued = std::move(queued)] {
                self->transmit(queued);
            });
    }

    void open()
    {
        if (isOpening_)
            return;
        isOpening_ = true;
        bus_.whenThereIsRoom([self = shared_from_this()] { self->sendOpen(); });
    }

    void sendOpen()
    {
        const auto connection = bus_.connection();
        if (!connection) {
            opened({}, {}, "there is no bus");
            return;
        }
        try {
            connection_ = connection;
            bus_.add(number_, shared_from_this());
            bus_.root(service_)
                .callMethodAsync("Open")
                .onInterface(connectionsInterface)
                .withArguments(sdbus::ObjectPath{ServiceBus::pathOfClient(number_)})
                .uponReplyInvoke([self = shared_from_this()](const sdbus::Error* error,
                                                             const sdbus::ObjectPath& server) {
                    self->takeOpened(error, server);
                });
        } catch (const sdbus::Error& error) {
            opened({}, {}, error.getMessage());
        }
    }

    void takeOpened(const sdbus::Error* error, const std::string& server)
    {
        if (!error)
            opened(server, bus_.root(service_).getCurrentlyProcessedMessage()->getSender(), {});
        else if (isUnseen(*error) && ++openAttempts_ < mostAttempts)
            bus_.post([self = shared_from_this()] { self->openAgain(); });
        else
            opened({}, {}, error->getMessage());
    }

    void openAgain()
    {
        bus_.callEnded();
        isOpening_ = false;
        open();
    }

    void opened(const std::string& path, const std::string& name, const std::string& failure)
    {
        bus_.callEnded();
        isOpening_ = false;
        openAttempts_ = 0;
        serverPath_ = path;
        serverName_ = name;
        if (path.empty()) {
            SystemLog::log({"no connection to ", service_, ": ", failure});
            end();
        } else {
            flush();
            closeWhenDone();
        }
    }

    void transmit(const Queued& queued)
    {
        // The instance may have ended while there was no room.
        if (serverPath_.empty()) {
            bus_.callEnded();
            queue_.push_back(queued);
            flush();
            return;
        }
        ++callsUnderWay_;
        try {
            queued.call->send(
                *connection_, service_, serverPath_,
                [self = shared_from_this(), queued, path = serverPath_](const sdbus::Error* error) {
                    self->answered(queued, path, error);
                });
        } catch (const sdbus::Error& error) {
            answered(queued, serverPath_, &error);
        }
    }

    void answered(Queued queued, const std::string& path, const sdbus::Error* error)
    {
        --callsUnderWay_;
        bus_.callEnded();
        // The library still is in the proxy whose answer this is.
        bus_.post([call = queued.call] {});
        if (error && isUnseen(*error) && ++queued.attempts < mostAttempts) {
            if (path == serverPath_)
                serverPath_.clear();
            queue_.push_back(std::move(queued));
            bus_.post([self = shared_from_this()] { self->flush(); });
            return;
        }
        if (error)
            queued.call->fail();
        closeWhenDone();
    }

    void end()
    {
        notifyOfEnd();
        for (const Queued& queued : std::exchange(queue_, {}))
            queued.call->fail();
    }

    void notifyOfEnd()
    {
        isInvalid_ = true;
        std::function<void()> onEnd;
        {
            const std::lock_guard lock{handlerMutex};
            onEnd = std::exchange(onEnd_, {});
        }
        if (onEnd)
            onEnd();
    }

    void closeWhenDone()
    {
        if (isInvalid_ && !isOpening_ && queue_.empty() && callsUnderWay_ == 0)
            closeAtServer();
    }

    void closeAtServer()
    {
        if (serverPath_.empty())
            return;
        try {
            bus_.root(service_)
                .callMethod("Close")
                .onInterface(connectionsInterface)
                .withArguments(sdbus::ObjectPath{serverPath_})
                .dontExpectReply();
        } catch (const sdbus::Error& error) {
            SystemLog::log(
                {"a connection to ", service_, " cannot be closed: ", error.getMessage()});
        }
        serverPath_.clear();
        serverName_.clear();
    }

    ServiceBus& bus_;
    const char* const service_;
    const ServiceBus::ClientNumber number_ = newNumber();
    std::function<void()> onEnd_; // guarded by the mutex

    Receiver takeCall_;
    std::shared_ptr<sdbus::IConnection> connection_; // outlives what is on it

    bool isResumed_ = false;
    bool isOpening_ = false;
    bool isInvalid_ = false;
    int openAttempts_ = 0;
    int callsUnderWay_ = 0;
    std::string serverPath_; // empty while not opened, as is:
    std::string serverName_;
    std::vector<Queued> queue_;
};

ClientConnection ClientConnection::initWithMachServiceName(const char* name, ServiceBus& bus)
{
    return ClientConnection{std::make_shared<Link>(bus, name)};
}

ClientConnection::~ClientConnection()
{
    if (!link_)
        return;
    link_->setInvalidationHandler({});
    // The link goes on the bus's thread, whose objects it has.
    ServiceBus& bus = link_->bus();
    bus.post([link = std::move(link_)] { link->letGo(); });
}

void ClientConnection::setExportedObject(Receiver takeCall)
{
    link_->bus().post(
        [link = link_, takeCall = std::move(takeCall)] { link->setExportedObject(takeCall); });
}

void ClientConnection::setInvalidationHandler(std::function<void()> handler)
{
    link_->setInvalidationHandler(std::move(handler));
}

void ClientConnection::resume()
{
    link_->bus().post([link = link_] { link->resume(); });
}

void ClientConnection::invalidate()
{
    link_->bus().post([link = link_] { link->invalidate(); });
}

void ClientConnection::send(std::shared_ptr<ServiceCall> call)
{
    link_->bus().post([link = link_, call = std::move(call)] { link->send(call); });
}

} // namespace veltra
