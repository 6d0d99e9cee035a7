#pragma once

#include "platform/base/Fd.h"
#include "platform/kqueue/KernelQueue.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>

namespace veltra {

inline constexpr std::uint32_t everyNote =
    NOTE_DELETE | NOTE_WRITE | NOTE_EXTEND | NOTE_ATTRIB | NOTE_LINK | NOTE_RENAME | NOTE_REVOKE;

/// Interrupts a queue after a minute.
class Deadline {
  public:
    explicit Deadline(KernelQueue& queue) : queue_{queue}, thread_{[this] { run(); }} {}
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

    ~Deadline()
    {
        {
            const std::lock_guard lock{mutex_};
            isOver_ = true;
        }
        over_.notify_one();
        thread_.join();
    }

  private:
    void run()
    {
        using std::chrono::system_clock;
        std::unique_lock lock{mutex_};
        const auto end = system_clock::now() + std::chrono::minutes{1};
        if (!over_.wait_until(lock, end, [this] { return isOver_; }))
            queue_.interrupt();
    }

    KernelQueue& queue_;
    std::mutex mutex_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread thread_;
};

/// The content of an event: the name given to its watch, and the bits.
struct Report {
    std::string name;
    std::uint32_t fflags = 0;

    bool operator==(const Report&) const = default;
};

inline void PrintTo(const Report& report, std::ostream* out)
{
    *out << report.name << " 0x" << std::hex << report.fflags << std::dec;
}

/// The next event; an empty report if none came in time.
inline Report nextReport(KernelQueue& queue)
{
    const Deadline deadline{queue};
    const auto event = queue.wait();
    if (!event)
        return {};

    return {.name = *std::static_pointer_cast<std::string>(event->udata), .fflags = event->fflags};
}

inline Fd openPath(const std::string& path)
{
    Fd descriptor{open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)};
    if (!descriptor)
        throw std::runtime_error{"cannot open " + path};

    return descriptor;
}

/// A watch together with what it needs to live. Its name is its user data.
struct NamedWatch {
    std::shared_ptr<std::string> name;
    Fd descriptor;
    KernelQueue::Registration registration;
};

inline NamedWatch watchPath(KernelQueue& queue, const std::string& path, const std::string& name,
                            std::uint32_t fflags)
{
    NamedWatch watch{.name = std::make_shared<std::string>(name),
                     .descriptor = openPath(path),
                     .registration = {}};
    auto registration = queue.watch(watch.descriptor.get(), fflags, watch.name);
    if (!registration)
        throw std::runtime_error{registration.error().message()};

    watch.registration = std::move(registration.value());
    return watch;
}

} // namespace veltra
