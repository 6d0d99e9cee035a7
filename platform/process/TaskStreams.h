#pragma once

#include "platform/base/Error.h"
#include "platform/base/EventLoop.h"
#include "platform/base/Fd.h"
#include "platform/process/OutputStream.h"
#include "platform/process/Task.h"

#include <memory>

namespace veltra {

/// The streams for a program's output and errors, for the different ways to run a Task. Use it on
/// the loop's thread.
class TaskStreams {
  public:
    /// The program's ends, to be closed once it has its own.
    struct WriteEnds {
        Fd output;
        Fd error;
    };

    TaskStreams(EventLoop& loop, const Task& task);

    /// Reads from now on, until the last writer has closed the streams or stop() is called, whether
    /// or not this object still exists.
    [[nodiscard]] Result<WriteEnds> start();

    void stop();

  private:
    TaskStreams(std::shared_ptr<ReadingGate> gate, EventLoop& loop, const Task& task);

    std::shared_ptr<OutputStream> output_;
    std::shared_ptr<OutputStream> error_;
};

} // namespace veltra
