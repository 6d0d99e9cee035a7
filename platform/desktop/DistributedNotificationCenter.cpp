#include "platform/desktop/DistributedNotificationCenter.h"

#include "platform/desktop/SessionBus.h"
#include "platform/log/SystemLog.h"

#include <exception>
#include <utility>

namespace veltra {

/// One observer, and its callback on the bus.
class DistributedNotificationCenter::Registration::Listener {
  public:
    Listener(std::shared_ptr<SessionBus> bus, const QString& name,
             std::function<void(QString)> handler)
        : bus_{std::move(bus)}, handler_{std::move(handler)},
          match_{
              bus_->match("com.veltra.DistributedNotification", name.toStdString(), &deliver, this)}
    {
    }

  private:
    static int deliver(sd_bus_message* message, void* context, sd_bus_error*) noexcept
    {
        // A copy, because the handler may end its own registration and so destroy this object.
        const auto handler = static_cast<const Listener*>(context)->handler_;
        try {
            handler(QString::fromUtf8(sd_bus_message_get_member(message)));
        } catch (const std::exception& error) {
            SystemLog::logThrown(error);
        }
        // Other observers of the same name must be called too.
        return 0;
    }

    const std::shared_ptr<SessionBus> bus_;
    const std::function<void(QString)> handler_;
    const SessionBus::Match match_;
};

DistributedNotificationCenter::Registration::Registration() = default;

DistributedNotificationCenter::Registration::Registration(std::unique_ptr<Listener> listener)
    : listener_{std::move(listener)}
{
}

DistributedNotificationCenter::Registration::Registration(Registration&&) noexcept = default;

DistributedNotificationCenter::Registration&
DistributedNotificationCenter::Registration::operator=(Registration&&) noexcept = default;

DistributedNotificationCenter::Registration::~Registration() = default;

DistributedNotificationCenter::Registration
DistributedNotificationCenter::addObserver(const QString& name,
                                           std::function<void(QString)> handler)
{
    auto bus = SessionBus::connection();
    if (!bus)
        return {};

    return Registration{
        std::make_unique<Registration::Listener>(std::move(bus), name, std::move(handler))};
}

} // namespace veltra
