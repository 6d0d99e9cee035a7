#include "logview/rows/LogBatchReader.h"

#include <system_error>

namespace veltra {

namespace {

// Below this size, starting threads costs more time than they save.
constexpr std::uint64_t worthThreads = std::uint64_t{1} << 20;

// Only one thread can read at a time, and reading takes about as long as the rest of the work.
constexpr std::size_t mostThreads = 2;
static_assert(mostThreads <= LogRows::makerCount);

constexpr std::size_t keptMemory = std::size_t{2} << 20;

} // namespace

LogBatchReader::LogBatchReader(FileReader& reader, LogRows& rows, ShownLines shown)
    : rows_{rows}, shown_{shown}, reader_{reader}, currentOffset_{reader.getCurrentOffset()}
{
    if (reader.unreadLength() >= worthThreads)
        startThreads();
}

LogBatchReader::~LogBatchReader()
{
    {
        const std::lock_guard lock{mutex_};
        isStopped_ = true;
    }
    becameFree_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void LogBatchReader::startThreads()
{
    threads_.reserve(mostThreads);
    try {
        while (threads_.size() < mostThreads)
            threads_.emplace_back([this, index = threads_.size()] { work(rows_.memory(index)); });
    } catch (const std::system_error&) {
        // No more threads can be started. The existing ones do the work, or the user's thread does.
    }
}

const LogBatch* LogBatchReader::next()
{
    if (!current_ || !current_->batch.block.lines.empty())
        current_ = &nextFilled();
    if (current_->error)
        std::rethrow_exception(current_->error);
    currentOffset_ = current_->offsetBehind;
    return current_->batch.block.lines.empty() ? nullptr : &current_->batch;
}

LogBatchReader::Slot& LogBatchReader::nextFilled()
{
    if (threads_.empty()) {
        Slot& slot = slots_.front();
        slot.batch.firstLine = current_ ? 0 : 1;
        read(slot);
        makeRows(slot.batch, rows_.memory(0));
        return slot;
    }

    std::unique_lock lock{mutex_};
    if (current_) {
        slots_[given_++ % slotCount].isReady = false;
        becameFree_.notify_one();
    }
    Slot& slot = slots_[given_ % slotCount];
    becameReady_.wait(lock, [&slot] { return slot.isReady; });
    return slot;
}

void LogBatchReader::work(RowMemory& memory)
{
    for (;;) {
        Slot* slot = nullptr;
        {
            const std::lock_guard reading{readingMutex_};
            slot = nextToFill();
            if (!slot)
                return;
            read(*slot);
            isAllRead_ = slot->batch.block.lines.empty();
        }
        makeRows(slot->batch, memory);
        {
            const std::lock_guard lock{mutex_};
            slot->isReady = true;
        }
        becameReady_.notify_one();
    }
}

// Waits for a free slot. Null if nothing is left to do.
LogBatchReader::Slot* LogBatchReader::nextToFill()
{
    if (isAllRead_)
        return nullptr;
    std::unique_lock lock{mutex_};
    becameFree_.wait(lock, [this] { return isStopped_ || begun_ - given_ < slotCount; });
    if (isStopped_)
        return nullptr;
    Slot& slot = slots_[begun_ % slotCount];
    slot.batch.firstLine = begun_ == 0 ? 1 : 0;
    ++begun_;
    return &slot;
}

void LogBatchReader::read(Slot& slot) noexcept
{
    LineBlock& block = slot.batch.block;
    try {
        // The memory is reused, unless a huge line made it large.
        if (block.memory.capacity() > keptMemory)
            block = {};
        reader_.readLines(block);
    } catch (...) {
        block.lines.clear();
        slot.error = std::current_exception();
    }
    slot.offsetBehind = reader_.getCurrentOffset();
}

void LogBatchReader::makeRows(LogBatch& batch, RowMemory& memory) const noexcept
{
    try {
        makePlainRows(batch, shown_, memory);
    } catch (const std::bad_alloc&) {
        // The user of the batch gets the same error, with the remaining lines.
    }
}

} // namespace veltra
