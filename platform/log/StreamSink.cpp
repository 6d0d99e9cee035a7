#include "platform/log/SystemLog.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <string>
#include <thread>

#include <poll.h>
#include <unistd.h>

namespace veltra {

namespace {

// Between two attempts after an error that may pass, such as a full disk.
constexpr std::chrono::milliseconds pause{100};

class StreamSink : public LogSink {
  public:
    explicit StreamSink(int descriptor) : descriptor_{descriptor} {}

    void write(std::string_view message) override
    {
        const std::string_view lineBreak = message.ends_with('\n') ? "" : "\n";
        if (kept_.size() + message.size() + lineBreak.size() > PIPE_BUF)
            flush();
        if (message.size() < PIPE_BUF) {
            kept_.append(message).append(lineBreak);
        } else {
            send(message);
            send(lineBreak);
        }
    }

    void flush() override
    {
        send(kept_);
        kept_.clear();
    }

  private:
    void send(std::string_view bytes)
    {
        while (!isDeaf_ && !bytes.empty())
            bytes.remove_prefix(sendSome(bytes));
    }

    std::size_t sendSome(std::string_view bytes)
    {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count > 0)
            return static_cast<std::size_t>(count);

        if (count < 0 && (errno == EPIPE || errno == EBADF))
            isDeaf_ = true;
        else if (count < 0 && errno == EAGAIN)
            waitForRoom();
        else if (count == 0 || errno != EINTR)
            std::this_thread::sleep_for(pause);
        return 0;
    }

    void waitForRoom() const
    {
        pollfd descriptor{.fd = descriptor_, .events = POLLOUT, .revents = 0};
        ::poll(&descriptor, 1, -1);
    }

    int descriptor_;
    std::string kept_;
    bool isDeaf_ = false;
};

} // namespace

std::unique_ptr<LogSink> makeStreamSink(int descriptor)
{
    return std::make_unique<StreamSink>(descriptor);
}

} // namespace veltra
