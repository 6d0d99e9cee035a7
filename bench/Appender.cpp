#include "bench/Appender.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <random>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace veltra {

/// What the process reports about its last write.
struct Appender::Record {
    std::atomic<bool> isWritten;
    Write write;
};

namespace {

template <typename T>
T checked(T result, T failure, const char* what)
{
    if (result == failure)
        throw std::system_error{errno, std::generic_category(), what};
    return result;
}

class RandomPause {
  public:
    void sleep() { std::this_thread::sleep_for(std::chrono::microseconds{microseconds_(random_)}); }

  private:
    std::mt19937 random_{std::random_device{}()};
    std::uniform_int_distribution<> microseconds_{50'000, 250'000};
};

} // namespace

Appender::Appender(const std::string& path)
{
    void* const memory =
        ::mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    record_ = new (checked(memory, MAP_FAILED, "share memory")) Record{};
    std::array<int, 2> ends{};
    checked(::pipe2(ends.data(), O_CLOEXEC), -1, "make a pipe");
    Fd read{ends[0]};
    commands_ = Fd{ends[1]};
    startWriter(read.get(), path);
}

void Appender::startWriter(int commands, const std::string& path)
{
    process_ = checked(::fork(), -1, "fork");
    if (process_ == 0) {
        commands_ = Fd{};
        run(commands, path, *record_);
    }
}

Appender::~Appender()
{
    commands_ = Fd{};
    ::waitpid(process_, nullptr, 0);
    ::munmap(record_, sizeof(Record));
}

void Appender::run(int commands, const std::string& path, Record& record)
{
    const Fd log{::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)};
    RandomPause pause;
    std::array<char, 4096> text{};
    for (;;) {
        const auto length = ::read(commands, text.data(), text.size());
        if (length <= 0)
            ::_exit(0);
        pause.sleep();
        const auto begun = std::chrono::steady_clock::now();
        const auto written = ::write(log.get(), text.data(), static_cast<std::size_t>(length));
        const auto returned = std::chrono::steady_clock::now();
        if (written != length)
            ::_exit(1);
        record.write = {.begun = begun, .returned = returned};
        record.isWritten = true;
    }
}

void Appender::append(const std::string& text)
{
    record_->isWritten = false;
    checked(::write(commands_.get(), text.data(), text.size()), ssize_t{-1}, "ask for a write");
}

Appender::Write Appender::lastWrite() const
{
    while (!record_->isWritten)
        std::this_thread::yield();
    return record_->write;
}

} // namespace veltra
