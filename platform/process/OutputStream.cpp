#include "platform/process/OutputStream.h"

#include "platform/base/Utf8.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace veltra {

namespace {

using namespace std::chrono_literals;

constexpr auto silence = 100ms;
constexpr auto longestWait = 500ms;

// A pipe may be full when it is not even half filled, because a write may take a page of its own
// and a page may be partly read. The system may allow us smaller pipes only.
constexpr int capacity = 4 * OutputStream::mostInAPiece;

std::size_t enoughFor(const Fd& pipe)
{
    ::fcntl(pipe.get(), F_SETPIPE_SZ, capacity);
    return static_cast<std::size_t>(::fcntl(pipe.get(), F_GETPIPE_SZ)) / 4;
}

} // namespace

OutputStream::OutputStream(EventLoop& loop, std::shared_ptr<ReadingGate> gate, Handler onPiece)
    : loop_{loop}, gate_{std::move(gate)}, onPiece_{std::move(onPiece)}
{
}

Result<Fd> OutputStream::start()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return Error::last("make a pipe");
    Fd readEnd{ends[0]};
    Fd writeEnd{ends[1]};
    // The program's end stays in blocking mode, as programs expect.
    if (::fcntl(readEnd.get(), F_SETFL, O_NONBLOCK) != 0)
        return Error::last("make a pipe");

    auto watch = loop_.watch(
        readEnd.get(), [self = shared_from_this()] { self->look(); }, EventLoop::Notice::onArrival);
    if (!watch)
        return watch.error();
    enough_ = enoughFor(readEnd);
    pipe_ = std::move(readEnd);
    watch_ = std::move(watch.value());
    return writeEnd;
}

void OutputStream::stop()
{
    timer_ = {};
    watch_ = {};
    pipe_ = {};
}

void OutputStream::look()
{
    if (isReadDue_)
        return;
    const std::size_t waiting = bytesWaiting();
    if (waiting >= enough_ || isClosed())
        readSoon();
    else if (waiting > 0)
        gather();
}

void OutputStream::gather()
{
    lastArrival_ = Clock::now();
    if (gatheringSince_)
        return;
    gatheringSince_ = lastArrival_;
    wait(silence);
}

void OutputStream::wait(std::chrono::milliseconds time)
{
    timer_ = loop_.callAfter(time, [this] { waited(); });
}

void OutputStream::waited()
{
    const auto end = std::min(lastArrival_ + silence, *gatheringSince_ + longestWait);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left > 0ms)
        wait(left);
    else
        readSoon();
}

void OutputStream::readSoon()
{
    timer_ = {};
    isReadDue_ = true;
    gate_->whenOpen([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->read();
    });
}

void OutputStream::read()
{
    isReadDue_ = false;
    gatheringSince_.reset();
    if (!pipe_)
        return;
    std::array<char, mostInAPiece> bytes; // NOLINT(*-member-init): read(2) fills what is used of it
    const std::size_t carried = unfinished_.copy(bytes.data(), unfinished_.size());
    const ssize_t count = ::read(pipe_.get(), bytes.data() + carried, bytes.size() - carried);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
        end();
        return;
    }
    look();
    if (count < 0)
        return;
    std::string_view piece{bytes.data(), carried + static_cast<std::size_t>(count)};
    unfinished_ = piece.substr(piece.size() - unfinishedUtf8Suffix(piece));
    piece.remove_suffix(unfinished_.size());
    if (!piece.empty())
        onPiece_(piece);
}

void OutputStream::end()
{
    stop();
    if (!unfinished_.empty())
        onPiece_(unfinished_);
    onPiece_({});
}

std::size_t OutputStream::bytesWaiting() const
{
    int count = 0;
    ::ioctl(pipe_.get(), FIONREAD, &count);
    return static_cast<std::size_t>(count);
}

bool OutputStream::isClosed() const
{
    pollfd pipe{.fd = pipe_.get(), .events = 0, .revents = 0};
    return ::poll(&pipe, 1, 0) > 0;
}

} // namespace veltra
