#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace veltra {

/// Notifications between the programs of one user's session.
///
/// A notification is a signal on the D-Bus session bus: its member is the notification's name, its
/// interface is "com.veltra.DistributedNotification", and its path and arguments are ignored. To
/// post one:
///
///     dbus-send --session --type=signal / com.veltra.DistributedNotification.NAME
///
/// Main thread only.
class DistributedNotificationCenter {
  public:
    /// Keeps an observer registered until it is destroyed.
    class [[nodiscard]] Registration {
      public:
        class Listener;
        Registration();
        explicit Registration(std::unique_ptr<Listener> listener);
        Registration(Registration&&) noexcept;
        Registration& operator=(Registration&&) noexcept;
        ~Registration();

      private:
        std::unique_ptr<Listener> listener_;
    };

    /// Calls `handler` with the name on the main thread whenever a program in the session posts a
    /// notification called `name`. Without a session bus, that never happens; none is started.
    static Registration addObserver(const QString& name, std::function<void(QString)> handler);
};

} // namespace veltra
