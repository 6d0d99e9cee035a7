#include "platform/SystemLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>

#include <poll.h>
#include <sys/uio.h>

namespace veltra {

namespace {

iovec partOf(std::string_view bytes)
{
    return {.iov_base = const_cast<char*>(bytes.data()), .iov_len = bytes.size()};
}

// A line goes out in one call where the descriptor takes it whole, so that lines of programs that
// share the stream do not mix.
class StreamSink : public LogSink {
  public:
    explicit StreamSink(int descriptor) : descriptor_{descriptor} {}

    void write(std::string_view message) override
    {
        std::string_view lineBreak = message.ends_with('\n') ? "" : "\n";
        while (!isDeaf_ && message.size() + lineBreak.size() > 0) {
            const std::array parts{partOf(message), partOf(lineBreak)};
            std::size_t count = send(parts);
            const std::size_t ofMessage = std::min(count, message.size());
            message.remove_prefix(ofMessage);
            lineBreak.remove_prefix(count - ofMessage);
        }
    }

  private:
    std::size_t send(std::span<const iovec> parts)
    {
        const ssize_t count = ::writev(descriptor_, parts.data(), static_cast<int>(parts.size()));
        if (count > 0)
            return static_cast<std::size_t>(count);

        if (count < 0 && errno == EAGAIN)
            waitForRoom();
        else if (count == 0 || errno != EINTR)
            isDeaf_ = true;
        return 0;
    }

    void waitForRoom() const
    {
        pollfd descriptor{.fd = descriptor_, .events = POLLOUT, .revents = 0};
        ::poll(&descriptor, 1, -1);
    }

    int descriptor_;
    bool isDeaf_ = false;
};

} // namespace

std::unique_ptr<LogSink> makeStreamSink(int descriptor)
{
    return std::make_unique<StreamSink>(descriptor);
}

} // namespace veltra
