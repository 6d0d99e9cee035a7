#include "bench/TurnWatch.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

namespace {

using namespace std::chrono_literals;

// Three numbers: nanoseconds on a processor, nanoseconds waiting for one, and how often it ran.
constexpr const char* scheduling = "/proc/thread-self/schedstat";

} // namespace

TurnWatch::TurnWatch() : statistics_{::open(scheduling, O_RDONLY | O_CLOEXEC)}
{
    if (!statistics_)
        throw std::system_error{errno, std::generic_category(), scheduling};
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(1ms);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { turn(); });
}

void TurnWatch::start()
{
    start_ = last_ = now();
    timer_.start();
}

void TurnWatch::stop()
{
    turn();
    timer_.stop();
}

TurnWatch::Instant TurnWatch::now() const
{
    const auto time = std::chrono::steady_clock::now();
    std::array<char, 80> text{};
    const auto length = ::pread(statistics_.get(), text.data(), text.size(), 0);
    const std::string_view numbers{text.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
    std::int64_t queued = 0;
    std::from_chars(numbers.data() + numbers.find(' ') + 1, numbers.data() + numbers.size(),
                    queued);
    return {.time = time, .queued = std::chrono::nanoseconds{queued}};
}

void TurnWatch::turn()
{
    const Instant instant = now();
    gaps_.push_back({.begin = last_.time - start_.time,
                     .length = instant.time - last_.time,
                     .queued = instant.queued - last_.queued});
    last_ = instant;
}

} // namespace veltra
