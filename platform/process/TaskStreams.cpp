#include "platform/process/TaskStreams.h"

#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace veltra {

TaskStreams::TaskStreams(Handler onOutput, Handler onError)
    : output_{.handler = std::move(onOutput), .descriptor = {}, .watch = {}},
      error_{.handler = std::move(onError), .descriptor = {}, .watch = {}}
{
}

Result<TaskStreams::WriteEnds> TaskStreams::start(EventLoop& loop)
{
    auto output = listen(loop, output_);
    auto error = listen(loop, error_);
    if (output && error)
        return WriteEnds{std::move(output.value()), std::move(error.value())};

    stop();
    return output ? error.error() : output.error();
}

void TaskStreams::stop()
{
    output_.watch = {};
    error_.watch = {};
}

Result<Fd> TaskStreams::listen(EventLoop& loop, Stream& stream)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return Error::last("make a pipe");
    Fd readEnd{ends[0]};
    Fd writeEnd{ends[1]};
    // The program's end stays in blocking mode, as programs expect.
    if (::fcntl(readEnd.get(), F_SETFL, O_NONBLOCK) != 0)
        return Error::last("make a pipe");

    stream.descriptor = std::move(readEnd);
    auto watch = loop.watch(
        stream.descriptor.get(), [self = shared_from_this(), &stream] { read(stream); },
        EventLoop::Reading::whileAllIsSent);
    if (!watch)
        return watch.error();
    stream.watch = std::move(watch.value());
    return writeEnd;
}

void TaskStreams::read(Stream& stream)
{
    std::array<char, 65536> piece; // NOLINT(*-member-init): read(2) fills what is used of it
    const ssize_t count = ::read(stream.descriptor.get(), piece.data(), piece.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0)
        stream.watch = {};
    stream.handler({piece.data(), count > 0 ? static_cast<std::size_t>(count) : 0});
}

} // namespace veltra
