#include "logview/LineReadAhead.h"

#include <utility>

namespace veltra {

namespace {

constexpr std::size_t batchSize = std::size_t{512} << 10;
constexpr std::size_t mostBatches = 2;

} // namespace

LineReadAhead::LineReadAhead(FileReader& reader)
    : reader_{reader}, currentOffset_{reader.getCurrentOffset()}, thread_{[this] { run(); }}
{
}

LineReadAhead::~LineReadAhead()
{
    {
        const std::lock_guard lock{mutex_};
        isStopped_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

std::optional<std::string_view> LineReadAhead::readLine()
{
    while (nextLine_ == current_.lineEnds.size())
        if (!takeBatch())
            return std::nullopt;

    const std::size_t start = std::exchange(lineStart_, current_.lineEnds[nextLine_++]);
    currentOffset_ += lineStart_ - start;
    return std::string_view{current_.text.data() + start, lineStart_ - start};
}

// Whether there is one more.
bool LineReadAhead::takeBatch()
{
    if (current_.error)
        std::rethrow_exception(current_.error);
    if (current_.isLast) {
        // A line that is no text was passed over.
        currentOffset_ = current_.offsetBehind;
        return false;
    }
    std::unique_lock lock{mutex_};
    spare_.push_back(std::move(current_));
    changed_.wait(lock, [this] { return !ready_.empty(); });
    current_ = std::move(ready_.front());
    ready_.pop_front();
    lock.unlock();
    changed_.notify_all();
    nextLine_ = 0;
    lineStart_ = 0;
    return true;
}

void LineReadAhead::run()
{
    bool isLast = false;
    while (!isLast) {
        Batch batch = readBatch();
        isLast = batch.isLast || batch.error;
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [this] { return isStopped_ || ready_.size() < mostBatches; });
        if (isStopped_)
            return;
        ready_.push_back(std::move(batch));
        lock.unlock();
        changed_.notify_all();
    }
}

LineReadAhead::Batch LineReadAhead::readBatch()
{
    Batch batch = takeSpare();
    try {
        readLines(batch);
        // Only now, as the text moves while it grows.
        for (std::size_t start = 0; const std::size_t end : batch.lineEnds) {
            batch.scanned.push_back(scanLogLine({batch.text.data() + start, end - start}));
            start = end;
        }
    } catch (...) {
        batch.error = std::current_exception();
        batch.lineEnds.resize(batch.scanned.size());
    }
    batch.offsetBehind = reader_.getCurrentOffset();
    return batch;
}

void LineReadAhead::readLines(Batch& batch)
{
    while (batch.text.size() < batchSize) {
        const auto line = reader_.readLine();
        batch.isLast = !line;
        if (!line)
            return;
        batch.text.insert(batch.text.end(), line->begin(), line->end());
        batch.lineEnds.push_back(batch.text.size());
    }
}

// One that was read is used again, so that memory stays where it is, but for that of a huge line.
LineReadAhead::Batch LineReadAhead::takeSpare()
{
    Batch batch;
    {
        const std::lock_guard lock{mutex_};
        if (!spare_.empty()) {
            batch = std::move(spare_.back());
            spare_.pop_back();
        }
    }
    if (batch.text.capacity() > 4 * batchSize)
        batch = {};
    batch.text.clear();
    batch.lineEnds.clear();
    batch.scanned.clear();
    return batch;
}

} // namespace veltra
