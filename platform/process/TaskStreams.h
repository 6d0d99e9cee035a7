#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventLoop.h"
#include "platform/base/Fd.h"
#include "platform/process/Task.h"

#include <functional>
#include <memory>
#include <string_view>

namespace veltra {

/// The pipes for a program's output and errors, for the different ways to run a Task. Keeps itself
/// alive and reads until the last writer has closed them. Use it on the loop's thread.
class TaskStreams : public std::enable_shared_from_this<TaskStreams> {
  public:
    using Handler = std::function<void(std::string_view)>;

    /// The program's ends, to be closed once it has its own.
    struct WriteEnds {
        Fd output;
        Fd error;
    };

    TaskStreams(Handler onOutput, Handler onError);
    TaskStreams(const TaskStreams&) = delete;
    TaskStreams& operator=(const TaskStreams&) = delete;
    ~TaskStreams() = default;

    [[nodiscard]] Result<WriteEnds> start(EventLoop& loop);

    void stop();

  private:
    struct Stream {
        Handler handler;
        Fd descriptor;
        EventLoop::Registration watch;
    };

    [[nodiscard]] Result<Fd> listen(EventLoop& loop, Stream& stream);
    static void read(Stream& stream);

    Stream output_;
    Stream error_;
};

} // namespace veltra
