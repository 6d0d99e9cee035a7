#include "platform/process/TaskStreams.h"

#include <utility>

namespace veltra {

namespace {

std::shared_ptr<ReadingGate> gateOf(const Task& task, EventLoop& loop)
{
    return task.gate ? task.gate : std::make_shared<ReadingGate>(loop, [] { return true; });
}

} // namespace

TaskStreams::TaskStreams(EventLoop& loop, const Task& task)
    : TaskStreams{gateOf(task, loop), loop, task}
{
}

TaskStreams::TaskStreams(std::shared_ptr<ReadingGate> gate, EventLoop& loop, const Task& task)
    : output_{std::make_shared<OutputStream>(loop, gate, task.standardOutput)},
      error_{std::make_shared<OutputStream>(loop, std::move(gate), task.standardError)}
{
}

Result<TaskStreams::WriteEnds> TaskStreams::start()
{
    auto output = output_->start();
    auto error = error_->start();
    if (output && error)
        return WriteEnds{std::move(output.value()), std::move(error.value())};

    stop();
    return output ? error.error() : output.error();
}

void TaskStreams::stop()
{
    output_->stop();
    error_->stop();
}

} // namespace veltra
