#include "platform/desktop/SessionBus.h"

namespace veltra {

namespace {

// More messages than this in one event loop iteration would delay input and painting.
constexpr int mostPerTurn = 64;

} // namespace

std::shared_ptr<SessionBus> SessionBus::connection()
{
    static std::weak_ptr<SessionBus> current;
    auto inUse = current.lock();
    if (inUse && sd_bus_is_open(inUse->bus_) > 0)
        return inUse;

    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0)
        return nullptr;

    auto connection = std::make_shared<SessionBus>(bus);
    current = connection;
    return connection;
}

SessionBus::SessionBus(sd_bus* bus)
    : bus_{bus}, readable_{sd_bus_get_fd(bus), QSocketNotifier::Read}
{
    QObject::connect(&readable_, &QSocketNotifier::activated, &readable_, [this] { process(); });
    again_.setSingleShot(true);
    QObject::connect(&again_, &QTimer::timeout, &readable_, [this] { process(); });
}

SessionBus::~SessionBus()
{
    readable_.setEnabled(false);
    // Without flushing, which would wait for a bus that hangs.
    sd_bus_close_unref(bus_);
}

SessionBus::Match SessionBus::match(const std::string& interface, const std::string& member,
                                    sd_bus_message_handler_t callback, void* context)
{
    sd_bus_slot* slot = nullptr;
    sd_bus_match_signal_async(bus_, &slot, nullptr, nullptr, interface.c_str(), member.c_str(),
                              callback, nullptr, context);
    // Sends what did not fit into the socket immediately, or came before the bus's greeting.
    again_.start();
    return Match{slot};
}

void SessionBus::process()
{
    // A callback may release the last reference to this connection.
    const auto alive = shared_from_this();
    int remaining = mostPerTurn;
    int result = 1;
    while (result > 0 && remaining-- > 0)
        result = sd_bus_process(bus_, nullptr);

    if (result > 0)
        again_.start();
    else if (result < 0 || sd_bus_is_open(bus_) <= 0)
        readable_.setEnabled(false);
}

} // namespace veltra
