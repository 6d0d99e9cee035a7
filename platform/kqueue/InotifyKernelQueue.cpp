#include "platform/kqueue/InotifyKernelQueue.h"

#include "platform/base/EventFd.h"
#include "platform/kqueue/InotifyRegistry.h"
#include "platform/kqueue/WeakWatch.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <utility>

#include <poll.h>

namespace veltra {

/// The state that the queue and its registrations share: the registry and its lock, and a way to
/// wake the waiting thread. Registrations hold it weakly.
class InotifyKernelQueue::Shared {
  public:
    /// The result of reading the kernel's records.
    struct Collected {
        bool isRead = false;
        std::optional<Event> event;
    };

    Shared(InotifyRegistry registry, EventFd wake)
        : inotify_{registry.descriptor()}, registry_{std::move(registry)}, wake_{std::move(wake)}
    {
    }

    [[nodiscard]] int descriptor() const noexcept { return inotify_; }

    [[nodiscard]] Result<WatchId> add(int descriptor, std::uint32_t fflags,
                                      std::weak_ptr<void> udata)
    {
        const std::lock_guard lock{mutex_};
        auto id = registry_.add(descriptor, fflags, std::move(udata));
        wakeIfPending();
        return id;
    }

    void remove(WatchId id)
    {
        const std::lock_guard lock{mutex_};
        registry_.remove(id);
    }

    void setFlags(WatchId id, std::uint32_t fflags)
    {
        const std::lock_guard lock{mutex_};
        registry_.setFlags(id, fflags);
        wakeIfPending();
    }

    [[nodiscard]] Collected collect()
    {
        const std::lock_guard lock{mutex_};
        const bool isRead = registry_.collect();
        return {.isRead = isRead, .event = registry_.takeFirst()};
    }

    /// Sleeps until there may be something to collect or an interruption. Returns false on failure.
    [[nodiscard]] bool sleep()
    {
        std::array<pollfd, 2> sources{{{.fd = inotify_, .events = POLLIN, .revents = 0},
                                       {.fd = wake_.descriptor(), .events = POLLIN, .revents = 0}}};
        if (poll(sources.data(), sources.size(), -1) < 0)
            return errno == EINTR;

        if ((sources[1].revents & POLLIN) != 0)
            wake_.clear();
        return ((sources[0].revents | sources[1].revents) & ~POLLIN) == 0;
    }

    void interrupt() noexcept
    {
        isInterrupted_ = true;
        wake_.signal();
    }

    [[nodiscard]] bool takeInterruption() noexcept { return isInterrupted_.exchange(false); }

  private:
    // Adding a watch and changing a mask empty the kernel's queue, so the poll would not wake up.
    void wakeIfPending() noexcept
    {
        if (registry_.hasPending())
            wake_.signal();
    }

    const int inotify_;
    std::mutex mutex_;
    InotifyRegistry registry_; // used only with the mutex held
    EventFd wake_;
    std::atomic<bool> isInterrupted_ = false;
};

Result<std::unique_ptr<KernelQueue>> KernelQueue::open()
{
    return InotifyKernelQueue::open();
}

Result<std::unique_ptr<KernelQueue>> InotifyKernelQueue::open()
{
    auto registry = InotifyRegistry::open();
    if (!registry)
        return registry.error();
    auto wake = EventFd::open();
    if (!wake)
        return wake.error();

    auto shared = std::make_shared<Shared>(std::move(registry.value()), std::move(wake.value()));
    return std::unique_ptr<KernelQueue>{new InotifyKernelQueue{std::move(shared)}};
}

InotifyKernelQueue::InotifyKernelQueue(std::shared_ptr<Shared> shared) : shared_{std::move(shared)}
{
}

InotifyKernelQueue::~InotifyKernelQueue() = default;

int InotifyKernelQueue::descriptor() const noexcept
{
    return shared_->descriptor();
}

Result<KernelQueue::Registration> InotifyKernelQueue::watch(int descriptor, std::uint32_t fflags,
                                                            std::weak_ptr<void> udata)
{
    const auto id = shared_->add(descriptor, fflags, std::move(udata));
    if (!id)
        return id.error();

    return Registration{std::make_unique<WeakWatch<Shared>>(shared_, id.value())};
}

std::optional<KernelQueue::Event> InotifyKernelQueue::wait()
{
    while (!shared_->takeInterruption()) {
        auto collected = shared_->collect();
        if (collected.event)
            return std::move(collected.event);
        if (!collected.isRead || !shared_->sleep())
            return std::nullopt;
    }
    return std::nullopt;
}

void InotifyKernelQueue::interrupt() noexcept
{
    shared_->interrupt();
}

} // namespace veltra
