#include "platform/desktop/NotificationCenter.h"

#include <QMetaType>

#include <algorithm>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace veltra {

namespace {

// Read directly from the variant: a conversion would access the object, which may be gone.
const QObject* objectIn(const QVariant& variant)
{
    if (!variant.metaType().flags().testFlag(QMetaType::PointerToQObject))
        return nullptr;
    return *static_cast<QObject* const*>(variant.constData());
}

} // namespace

/// One registered handler. Members that change after its creation are guarded by its Observers.
struct NotificationCenter::Registration::Observer {
    QString name;
    const QObject* sender;
    Handler handler;
    bool isEnded = false;
    std::vector<std::thread::id> threadsInside{}; // one entry for each running call
};

/// The observers in the order of their registration, with the lock that guards them. No handler is
/// called or destroyed under the lock.
class NotificationCenter::Registration::Observers {
  public:
    void add(const std::shared_ptr<Observer>& observer)
    {
        const std::lock_guard lock{mutex_};
        list_.push_back(observer);
    }

    std::vector<std::shared_ptr<Observer>> matching(const QString& name, const QObject* sender)
    {
        std::vector<std::shared_ptr<Observer>> matches;
        const std::lock_guard lock{mutex_};
        std::ranges::copy_if(list_, std::back_inserter(matches), [&](const auto& observer) {
            return observer->name == name && (!observer->sender || observer->sender == sender);
        });
        return matches;
    }

    /// Calls the handler unless its registration has ended.
    void call(Observer& observer, const Notification& notification)
    {
        if (!enter(observer))
            return;

        struct Leaving {
            Observers& observers;
            Observer& observer;
            ~Leaving() { observers.leave(observer); }
        } const leaving{*this, observer};
        observer.handler(notification);
    }

    /// Ends a registration and waits until no other thread is inside its handler.
    void end(const std::shared_ptr<Observer>& observer)
    {
        std::unique_lock lock{mutex_};
        observer->isEnded = true;
        std::erase(list_, observer);
        left_.wait(lock, [&observer] {
            return std::ranges::all_of(observer->threadsInside, [](std::thread::id thread) {
                return thread == std::this_thread::get_id();
            });
        });
    }

  private:
    bool enter(Observer& observer)
    {
        const std::lock_guard lock{mutex_};
        if (observer.isEnded)
            return false;

        observer.threadsInside.push_back(std::this_thread::get_id());
        return true;
    }

    void leave(Observer& observer)
    {
        const std::lock_guard lock{mutex_};
        // Removes only one entry: the handler may be running twice on this thread, if it posts
        // itself.
        const auto entry = std::ranges::find(observer.threadsInside, std::this_thread::get_id());
        observer.threadsInside.erase(entry);
        left_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable left_;
    std::vector<std::shared_ptr<Observer>> list_;
};

NotificationCenter::Registration::Registration(std::shared_ptr<Observers> observers,
                                               std::shared_ptr<Observer> observer)
    : observers_{std::move(observers)}, observer_{std::move(observer)}
{
}

NotificationCenter::Registration&
NotificationCenter::Registration::operator=(Registration&& other) noexcept
{
    if (this != &other) {
        end();
        observers_ = std::move(other.observers_);
        observer_ = std::move(other.observer_);
    }
    return *this;
}

NotificationCenter::Registration::~Registration()
{
    end();
}

void NotificationCenter::Registration::end() noexcept
{
    if (!observer_)
        return;

    observers_->end(observer_);
    observer_.reset();
}

NotificationCenter& NotificationCenter::defaultCenter()
{
    // Never destroyed: threads may still post while the process ends.
    static NotificationCenter& center = *new NotificationCenter;
    return center;
}

NotificationCenter::NotificationCenter() : observers_{std::make_shared<Registration::Observers>()}
{
}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Registration
NotificationCenter::addObserver(const QString& name, const QObject* sender, Handler handler)
{
    auto observer = std::make_shared<Registration::Observer>(
        Registration::Observer{name, sender, std::move(handler)});
    observers_->add(observer);
    return Registration{observers_, std::move(observer)};
}

void NotificationCenter::postNotificationName(const QString& name, const QVariant& object,
                                              const QVariantMap& userInfo)
{
    // A copy, because a handler may destroy this object.
    const auto observers = observers_;
    const Notification notification{name, object, userInfo};
    for (const auto& observer : observers->matching(name, objectIn(object)))
        observers->call(*observer, notification);
}

} // namespace veltra
