#include "platform/kqueue/fakes/FakeKernelQueue.h"

#include "platform/kqueue/PendingEvents.h"
#include "platform/kqueue/WeakWatch.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace veltra {

class FakeKernelQueue::Shared {
  public:
    [[nodiscard]] WatchId add(int descriptor, std::uint32_t fflags, std::weak_ptr<void> udata)
    {
        const std::lock_guard lock{mutex_};
        changes_.push_back({.descriptor = descriptor, .fflags = fflags});
        const WatchId id = pending_.add(fflags, std::move(udata));
        descriptors_[id] = descriptor;
        return id;
    }

    void remove(WatchId id)
    {
        const std::lock_guard lock{mutex_};
        descriptors_.erase(id);
        pending_.remove(id);
    }

    void setFlags(WatchId id, std::uint32_t fflags)
    {
        const std::lock_guard lock{mutex_};
        changes_.push_back({.descriptor = descriptors_.at(id), .fflags = fflags});
        pending_.setFlags(id, fflags);
    }

    void post(int descriptor, std::uint32_t fflags)
    {
        const std::lock_guard lock{mutex_};
        for (const auto& [id, watched] : descriptors_) {
            if (watched == descriptor)
                pending_.record(id, fflags);
        }
        somethingHappened_.notify_all();
    }

    [[nodiscard]] std::vector<Change> changes() const
    {
        const std::lock_guard lock{mutex_};
        return changes_;
    }

    [[nodiscard]] std::vector<int> watchedDescriptors() const
    {
        const std::lock_guard lock{mutex_};
        std::vector<int> descriptors;
        for (const auto& [id, descriptor] : descriptors_)
            descriptors.push_back(descriptor);
        return descriptors;
    }

    [[nodiscard]] std::optional<Event> wait()
    {
        std::unique_lock lock{mutex_};
        while (!std::exchange(isInterrupted_, false)) {
            if (auto event = pending_.takeFirst())
                return event;
            somethingHappened_.wait(lock);
        }
        return std::nullopt;
    }

    void interrupt() noexcept
    {
        const std::lock_guard lock{mutex_};
        isInterrupted_ = true;
        somethingHappened_.notify_all();
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable somethingHappened_;
    PendingEvents pending_;
    std::map<WatchId, int> descriptors_;
    std::vector<Change> changes_;
    bool isInterrupted_ = false;
};

namespace {

EventFd openEventFd()
{
    auto eventFd = EventFd::open();
    if (!eventFd)
        throw std::runtime_error{eventFd.error().message()};

    return std::move(eventFd.value());
}

} // namespace

FakeKernelQueue::FakeKernelQueue() : eventFd_{openEventFd()}, shared_{std::make_shared<Shared>()} {}

FakeKernelQueue::~FakeKernelQueue() = default;

void FakeKernelQueue::post(int descriptor, std::uint32_t fflags)
{
    shared_->post(descriptor, fflags);
}

std::vector<FakeKernelQueue::Change> FakeKernelQueue::changes() const
{
    return shared_->changes();
}

std::vector<int> FakeKernelQueue::watchedDescriptors() const
{
    return shared_->watchedDescriptors();
}

Result<KernelQueue::Registration> FakeKernelQueue::watch(int descriptor, std::uint32_t fflags,
                                                         std::weak_ptr<void> udata)
{
    const WatchId id = shared_->add(descriptor, fflags, std::move(udata));
    return Registration{std::make_unique<WeakWatch<Shared>>(shared_, id)};
}

std::optional<KernelQueue::Event> FakeKernelQueue::wait()
{
    return shared_->wait();
}

void FakeKernelQueue::interrupt() noexcept
{
    shared_->interrupt();
}

} // namespace veltra
