#include "platform/log/SpoolQueue.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

namespace veltra {

namespace {

using Length = std::uint64_t;

constexpr std::chrono::milliseconds gatheringTime{1};

std::string_view bytesOf(const Length& length)
{
    return {reinterpret_cast<const char*>(&length), sizeof length};
}

std::size_t recordSizeAt(std::string_view records)
{
    Length length = 0;
    std::memcpy(&length, records.data(), sizeof length);
    return sizeof length + length;
}

// The size of the complete records in `bytes`, which start with a record.
std::size_t sizeOfWholeRecords(std::string_view bytes)
{
    std::size_t size = 0;
    while (bytes.size() - size >= sizeof(Length)) {
        const std::size_t record = recordSizeAt(bytes.substr(size));
        if (record > bytes.size() - size)
            break;
        size += record;
    }
    return size;
}

// The record that replaces messages that the disk has lost.
std::string lossRecord(std::uint64_t size, int error)
{
    const std::string message = std::to_string(size) + " bytes of log messages were lost: " +
                                std::generic_category().message(error);
    const Length length = message.size();
    return std::string{bytesOf(length)} + message;
}

} // namespace

SpoolQueue::SpoolQueue(std::size_t memoryLimit)
    : bufferSize_{std::max(memoryLimit / 2, sizeof(Length))}
{
    filled_.reserve(bufferSize_);
}

void SpoolQueue::push(Pieces pieces)
{
    Length length = 0;
    for (std::string_view piece : pieces)
        length += piece.size();

    Lock lock{mutex_};
    // Nobody overtakes a waiting writer: otherwise small messages could take a large one's room for
    // ever.
    room_.wait(lock, [this] { return !isWriterWaiting_; });
    bool hasWaited = false;
    while (!place(length, pieces)) {
        hasWaited = isWriterWaiting_ = true;
        room_.wait(lock);
        isWriterWaiting_ = false;
    }
    pushedBytes_ += sizeof length + length;
    const bool mustWake = std::exchange(isReaderWaiting_, false) ||
                          (isEnough() && std::exchange(isReaderGathering_, false));
    lock.unlock();

    if (hasWaited)
        room_.notify_all();
    if (mustWake)
        arrived_.notify_one();
}

bool SpoolQueue::place(std::uint64_t length, Pieces pieces)
{
    const std::size_t size = sizeof length + length;
    if (filled_.size() + size > bufferSize_) {
        if (!filled_.empty() && !file_.append(std::array{std::string_view{filled_}}))
            return false;

        filled_.clear();
        // If the file fails, the message, which its writer has in memory anyway, goes into the
        // buffer alone.
        if (size > bufferSize_ && spool(length, pieces))
            return true;
    }
    filled_.reserve(filled_.size() + size);
    filled_.append(bytesOf(length));
    for (std::string_view piece : pieces)
        filled_.append(piece);
    return true;
}

bool SpoolQueue::spool(std::uint64_t length, Pieces pieces)
{
    std::vector<std::string_view> record{bytesOf(length)};
    record.insert(record.end(), pieces);
    return file_.append(record);
}

bool SpoolQueue::take(std::string& batch)
{
    if (batch.capacity() > 2 * bufferSize_)
        batch = {};
    batch.clear();
    batch.reserve(bufferSize_);

    Lock lock{mutex_};
    doneBytes_ = takenBytes_;
    done_.notify_all();
    while (filled_.empty() && file_.isEmpty() && !isClosed_) {
        isReaderWaiting_ = true;
        arrived_.wait(lock);
    }
    isReaderWaiting_ = false;
    gather(lock);
    if (file_.isEmpty())
        takeFilled(batch);
    else
        takeSpooled(lock, batch);
    room_.notify_all();
    return !batch.empty();
}

void SpoolQueue::gather(Lock& lock)
{
    isReaderGathering_ = true;
    arrived_.wait_for(lock, gatheringTime, [this] { return isEnough(); });
    isReaderGathering_ = false;
}

// Whether there is a reason not to wait for more.
bool SpoolQueue::isEnough() const
{
    return isClosed_ || drains_ > 0 || !file_.isEmpty() || filled_.size() > bufferSize_ / 2;
}

void SpoolQueue::takeFilled(std::string& batch)
{
    batch.swap(filled_);
    takenBytes_ += batch.size();
}

void SpoolQueue::takeSpooled(Lock& lock, std::string& batch)
{
    const SpoolFile::Extent waiting = file_.waiting();
    lock.unlock();
    const std::uint64_t size = readBack(batch, waiting);

    lock.lock();
    file_.drop(size);
    takenBytes_ += size;
}

std::uint64_t SpoolQueue::readBack(std::string& batch, SpoolFile::Extent waiting) const
{
    try {
        batch.resize(std::min<std::uint64_t>(waiting.size(), bufferSize_));
        if (file_.read(waiting.begin, batch)) {
            const std::size_t whole = sizeOfWholeRecords(batch);
            batch.resize(whole > 0 ? whole : recordSizeAt(batch));
            if (whole > 0 || file_.read(waiting.begin, batch))
                return batch.size();
        }
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    batch = lossRecord(waiting.size(), errno);
    return waiting.size();
}

std::string_view SpoolQueue::next(std::string_view& batch)
{
    const std::string_view record = batch.substr(0, recordSizeAt(batch));
    batch.remove_prefix(record.size());
    return record.substr(sizeof(Length));
}

bool SpoolQueue::drain(std::optional<Clock::time_point> deadline)
{
    Lock lock{mutex_};
    const auto isDone = [this, target = pushedBytes_] { return doneBytes_ >= target; };
    bool wasDone = true;
    ++drains_;
    arrived_.notify_one();
    if (deadline)
        wasDone = done_.wait_until(lock, *deadline, isDone);
    else
        done_.wait(lock, isDone);
    --drains_;
    return wasDone;
}

void SpoolQueue::close()
{
    const Lock lock{mutex_};
    isClosed_ = true;
    arrived_.notify_one();
}

} // namespace veltra
