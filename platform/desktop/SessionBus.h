#pragma once

#include <QSocketNotifier>
#include <QTimer>

#include <memory>
#include <string>

#include <systemd/sd-bus.h>

namespace veltra {

/// A connection to the D-Bus session bus, served by the main thread's event loop and not by a
/// separate thread. Never waits for the bus. Main thread only. See sd-bus(3).
///
/// Not QtDBus, which waits for the bus while it connects, and delivers from a thread of its own
/// through queued events, which ThreadSanitizer cannot follow.
class SessionBus : public std::enable_shared_from_this<SessionBus> {
  public:
    struct EndMatch {
        void operator()(sd_bus_slot* slot) const noexcept { sd_bus_slot_unref(slot); }
    };
    /// Keeps a callback registered with the bus; must not outlive the connection.
    using Match = std::unique_ptr<sd_bus_slot, EndMatch>;

    /// The connection in use, or a new one; null if there is no session bus. The bus is looked for
    /// in $DBUS_SESSION_BUS_ADDRESS, then in $XDG_RUNTIME_DIR; none is started.
    [[nodiscard]] static std::shared_ptr<SessionBus> connection();

    explicit SessionBus(sd_bus* bus);
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;
    ~SessionBus();

    /// Calls `callback`, which must not throw, with `context` for every signal called `member` that
    /// is sent after the bus has registered the match. Null if it could not be asked to.
    [[nodiscard]] Match match(const std::string& interface, const std::string& member,
                              sd_bus_message_handler_t callback, void* context);

  private:
    void process();

    sd_bus* bus_;
    QSocketNotifier readable_;
    QTimer again_;
};

} // namespace veltra
