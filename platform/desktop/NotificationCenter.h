#pragma once

#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace veltra {

/// What an observer receives.
struct Notification {
    QString name;
    QVariant object;      ///< the sender as a QObject*, or a value; invalid if there is none
    QVariantMap userInfo; ///< empty if there is none
};

/// Passes notifications to observers by name and object.
///
/// Posting calls every matching observer on the posting thread, in the order of registration,
/// before it returns. All functions may be called from any thread, also from a handler. An
/// exception from a handler propagates to the poster, and the remaining observers are not called.
class NotificationCenter : public QObject {
    Q_OBJECT

  public:
    using Handler = std::function<void(const Notification&)>;

    /// Keeps one observer registered. Move-only. When its destructor returns, the handler is not
    /// running on any other thread and will not run again. A handler may end its own registration.
    /// Do not destroy a registration while holding a lock that the handler waits for.
    class [[nodiscard]] Registration {
      public:
        Registration() = default;
        Registration(Registration&& other) noexcept = default;
        Registration& operator=(Registration&& other) noexcept;
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        ~Registration();

      private:
        friend class NotificationCenter;
        struct Observer;
        class Observers;
        Registration(std::shared_ptr<Observers> observers, std::shared_ptr<Observer> observer);
        void end() noexcept;

        std::shared_ptr<Observers> observers_;
        std::shared_ptr<Observer> observer_;
    };

    /// The notification centre of this process.
    static NotificationCenter& defaultCenter();

    NotificationCenter();
    ~NotificationCenter() override;

    /// Registers `handler` for notifications called `name`. With a `sender`, only for those whose
    /// object is that QObject; the pointer is compared, never dereferenced.
    Registration addObserver(const QString& name, const QObject* sender, Handler handler);

    /// Posts a notification and returns when every observer has handled it.
    Q_INVOKABLE void postNotificationName(const QString& name, const QVariant& object = {},
                                          const QVariantMap& userInfo = {});

  private:
    std::shared_ptr<Registration::Observers> observers_;
};

} // namespace veltra
