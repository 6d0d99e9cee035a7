#include "platform/bus/ClientConnection.h"

#include "platform/bus/ConnectionNames.h"
#include "platform/log/SystemLog.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <utility>
#include <vector>

namespace veltra {

using namespace connections;

namespace {

// Each attempt needs an instance of the service that is just ending; more cannot be a coincidence.
constexpr int mostAttempts = 10;
// While strangers flood the service, the bus may have no room for what it must deliver to it.
constexpr int mostDeliveries = 200;
constexpr std::chrono::milliseconds pauseBetweenDeliveries{50};

// Guards the handlers of all connections, of which there are many; no handler is called under it.
std::mutex handlerMutex;

ServiceBus::ClientNumber newNumber()
{
    static std::atomic<ServiceBus::ClientNumber> last{0};
    return ++last;
}

// Whether the error means that the service has not seen the call.
bool isUnseen(const BusError& error)
{
    return error.name == unknownObjectError;
}

// Whether the error means that the bus has not delivered the call, but may deliver the next one.
bool isUndelivered(const BusError& error)
{
    return error.name == SD_BUS_ERROR_LIMITS_EXCEEDED;
}

BusError unreachable(const std::string& reason)
{
    return {"org.freedesktop.DBus.Error.Disconnected", reason};
}

} // namespace

/// A connection's state on the bus's thread, the only thread that uses it, except for the handler.
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

    void send(const std::shared_ptr<const ServiceCall>& call)
    {
        if (isInvalid_) {
            call->fail(unreachable("the connection has ended"));
            return;
        }
        queue_.push_back({call});
        flush();
    }

    void invalidate()
    {
        closeAtServer();
        end("the connection has ended");
    }

    [[nodiscard]] std::string_view service() const override { return service_; }

    // Calls that the instance has not seen are sent to the next one.
    void ownerChanged(const std::string& owner) override
    {
        if (serverName_.empty() || owner == serverName_)
            return;
        serverPath_.clear();
        serverName_.clear();
        notifyOfEnd();
    }

    void called(BusMessage& call) override
    {
        if (takeCall_ && !serverName_.empty() && call.sender() == serverName_)
            takeCall_(call);
    }

    void abandon()
    {
        isInvalid_ = true;
        closeWhenDone();
    }

  private:
    struct Queued {
        std::shared_ptr<const ServiceCall> call;
        int attempts = 0;
        int deliveries = 0;
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
            bus_.whenThereIsRoom([self = shared_from_this(), queued = std::move(queued)](
                                     auto underWay) { self->transmit(queued, underWay); });
    }

    void open()
    {
        if (isOpening_)
            return;
        isOpening_ = true;
        bus_.whenThereIsRoom(
            [self = shared_from_this()](auto underWay) { self->sendOpen(underWay); });
    }

    void sendOpen(const ServiceBus::CallUnderWay& underWay)
    {
        if (const auto connection = bus_.connection(); !connection) {
            failToOpen(connection.error().message());
            return;
        }
        if (const auto added = bus_.add(number_, shared_from_this()); !added) {
            failToOpen(added.error().message());
            return;
        }
        bus_.proofTo(service_).give([self = shared_from_this(), underWay](const auto& refusal) {
            if (refusal)
                self->takeRefusal(*refusal);
            else
                self->requestOpen(underWay);
        });
    }

    void requestOpen(const ServiceBus::CallUnderWay& underWay)
    {
        BusConnection& connection = *bus_.connection().value();
        auto request =
            connection.methodCall(service_, rootPath(service_), connectionsInterface, "Open");
        auto sent = connection.call(request.append(ObjectPath{ServiceBus::pathOfClient(number_)}),
                                    [self = shared_from_this(), underWay](BusMessage& answer) {
                                        self->takeOpened(answer);
                                    });
        if (sent)
            sent.value().detach();
        else
            failToOpen(sent.error().message());
    }

    void takeOpened(BusMessage& answer)
    {
        const auto error = answer.error();
        ObjectPath server;
        if (error) {
            if (error->name == unprovedError)
                bus_.proofTo(service_).forget();
            takeRefusal(*error);
        } else if (answer.read(server)) {
            opened(server.text, std::string{answer.sender()});
        } else {
            failToOpen("its answer cannot be read");
        }
    }

    // Another instance of the service may have been started meanwhile.
    void takeRefusal(const BusError& error)
    {
        if (isUndelivered(error) && ++openDeliveries_ < mostDeliveries) {
            nextOpen_ = bus_.callAfter(pauseBetweenDeliveries, [self = shared_from_this()] {
                self->isOpening_ = false;
                self->open();
            });
            return;
        }
        if ((!isUnseen(error) && error.name != unprovedError) || ++openAttempts_ >= mostAttempts) {
            failToOpen(error.name == SD_BUS_ERROR_ACCESS_DENIED
                           ? "the system bus's policy does not let this user call it"
                           : error.message);
            return;
        }
        isOpening_ = false;
        open();
    }

    void opened(const std::string& path, const std::string& name)
    {
        isOpening_ = false;
        openAttempts_ = 0;
        openDeliveries_ = 0;
        serverPath_ = path;
        serverName_ = name;
        flush();
        closeWhenDone();
    }

    void failToOpen(const std::string& reason)
    {
        isOpening_ = false;
        openAttempts_ = 0;
        openDeliveries_ = 0;
        SystemLog::log({"no connection to ", service_, ": ", reason});
        end(reason);
    }

    void transmit(const Queued& queued, const ServiceBus::CallUnderWay& underWay)
    {
        // The instance may have ended while the call waited for room.
        if (serverPath_.empty()) {
            queue_.push_back(queued);
            flush();
            return;
        }
        BusConnection& connection = *bus_.connection().value();
        auto request = connection.methodCall(service_, serverPath_, queued.call->interface,
                                             queued.call->method);
        if (queued.call->appendArguments)
            queued.call->appendArguments(request);
        ++callsUnderWay_;
        auto sent = connection.call(request, [self = shared_from_this(), queued, underWay,
                                              path = serverPath_](BusMessage& answer) {
            self->answered(queued, path, answer);
        });
        if (sent) {
            sent.value().detach();
            return;
        }
        --callsUnderWay_;
        queued.call->fail(unreachable(sent.error().message()));
        closeWhenDone();
    }

    void answered(Queued queued, const std::string& path, BusMessage& answer)
    {
        --callsUnderWay_;
        const auto error = answer.error();
        if (error && isUnseen(*error) && ++queued.attempts < mostAttempts) {
            if (path == serverPath_)
                serverPath_.clear();
            queue_.push_back(std::move(queued));
            flush();
            return;
        }
        if (error && isUndelivered(*error) && ++queued.deliveries < mostDeliveries) {
            queue_.push_back(std::move(queued));
            nextDelivery_ = bus_.callAfter(pauseBetweenDeliveries,
                                           [self = shared_from_this()] { self->flush(); });
            return;
        }
        closeWhenDone();
        if (error)
            queued.call->fail(*error);
        else
            queued.call->takeResults(answer);
    }

    void end(const std::string& reason)
    {
        notifyOfEnd();
        for (const Queued& queued : std::exchange(queue_, {}))
            queued.call->fail(unreachable(reason));
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
        BusConnection& connection = *bus_.connection().value();
        auto request =
            connection.methodCall(service_, rootPath(service_), connectionsInterface, "Close");
        if (const auto sent = connection.send(request.append(ObjectPath{serverPath_})); !sent)
            SystemLog::log(sent.error().message());
        serverPath_.clear();
        serverName_.clear();
    }

    ServiceBus& bus_;
    const char* const service_;
    const ServiceBus::ClientNumber number_ = newNumber();
    std::function<void()> onEnd_; // guarded by the mutex

    Receiver takeCall_;
    bool isResumed_ = false;
    bool isOpening_ = false;
    bool isInvalid_ = false;
    int openAttempts_ = 0;
    int openDeliveries_ = 0;
    int callsUnderWay_ = 0;
    std::string serverPath_; // empty while not opened, and when the bus is gone, like:
    std::string serverName_;
    std::vector<Queued> queue_;
    EventLoop::Registration nextOpen_;
    EventLoop::Registration nextDelivery_;
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
    // The link must be destroyed on the bus's thread, because its objects belong there.
    ServiceBus& bus = link_->bus();
    bus.post([link = std::move(link_)] { link->abandon(); });
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

void ClientConnection::send(ServiceCall call)
{
    link_->bus().post([link = link_, call = std::make_shared<const ServiceCall>(std::move(call))] {
        link->send(call);
    });
}

} // namespace veltra
