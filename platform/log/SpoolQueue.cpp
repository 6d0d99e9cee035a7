#include "platform/log/SpoolQueue.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace veltra {

namespace {

using Length = std::uint64_t;

constexpr std::chrono::milliseconds gatheringTime{1};
// Asking full disks for every message would slow down the writers.
constexpr std::chrono::milliseconds spoolingPause{100};

constexpr std::size_t mostFiles = 16;

// Called once, because the environment may change while other threads run.
std::vector<std::string> spoolFolders()
{
    const char* const folder = ::secure_getenv("TMPDIR");
    return {folder ? folder : "/var/tmp", "/var/tmp", "/tmp"};
}

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
    : bufferSize_{std::max(memoryLimit / 2, sizeof(Length))}, folders_{spoolFolders()}
{
}

void SpoolQueue::push(Pieces pieces)
{
    Lock lock{mutex_};
    if (!noteLeftOut() || !add(pieces)) {
        ++leftOut_;
        return;
    }
    const bool mustWake = std::exchange(isReaderWaiting_, false) ||
                          (isEnough() && std::exchange(isReaderGathering_, false));
    lock.unlock();

    if (mustWake)
        arrived_.notify_one();
}

// Puts the message about those that were left out in their place.
bool SpoolQueue::noteLeftOut()
{
    if (leftOut_ == 0)
        return true;

    const std::string message =
        std::to_string(leftOut_) + " log messages were left out: " + whyLeftOut_.message();
    if (!add({message}))
        return false;

    leftOut_ = 0;
    return true;
}

bool SpoolQueue::add(Pieces pieces)
{
    try {
        return place(pieces);
    } catch (const std::bad_alloc&) {
        whyLeftOut_ = std::make_error_code(std::errc::not_enough_memory);
        return false;
    }
}

bool SpoolQueue::place(Pieces pieces)
{
    Length length = 0;
    for (const std::string_view piece : pieces)
        length += piece.size();

    const std::size_t size = sizeof length + length;
    if (filled_.size() + size > bufferSize_) {
        if (!filled_.empty() && !spool(std::array{std::string_view{filled_}}))
            return false;

        empty(filled_);
    }
    // If no file takes a message that is larger than the buffer, the message, which its writer has
    // in memory anyway, goes into the buffer alone.
    if (size <= bufferSize_ || !spool(length, pieces)) {
        filled_.reserve(filled_.size() + size);
        filled_.append(bytesOf(length));
        for (const std::string_view piece : pieces)
            filled_.append(piece);
    }
    pushedBytes_ += size;
    return true;
}

bool SpoolQueue::spool(std::uint64_t length, Pieces pieces)
{
    std::vector<std::string_view> record{bytesOf(length)};
    record.insert(record.end(), pieces);
    return spool(record);
}

// Appends `records` to the newest file or else to a new one in the first folder that has room.
bool SpoolQueue::spool(std::span<const std::string_view> records)
{
    if (!files_.empty()) {
        const auto appended = files_.back().append(records);
        if (appended)
            return true;
        whyLeftOut_ = appended.error().code();
    }
    if (files_.size() == mostFiles || Clock::now() < nextSpooling_)
        return false;

    for (const std::string& folder : folders_) {
        auto file = SpoolFile::create(folder);
        const auto appended = file ? file.value().append(records) : file.error();
        if (appended) {
            files_.push_back(std::move(file.value()));
            return true;
        }
        whyLeftOut_ = appended.error().code();
    }
    nextSpooling_ = Clock::now() + spoolingPause;
    return false;
}

bool SpoolQueue::take(std::string& batch)
{
    empty(batch);

    Lock lock{mutex_};
    doneBytes_ = takenBytes_;
    done_.notify_all();
    while (filled_.empty() && files_.empty() && !isClosed_) {
        isReaderWaiting_ = true;
        arrived_.wait(lock);
    }
    isReaderWaiting_ = false;
    gather(lock);
    if (files_.empty())
        takeFilled(batch);
    else
        takeSpooled(lock, batch);
    // There is room again. Nothing more may ever be logged, so this cannot wait for that.
    static_cast<void>(noteLeftOut());
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
    return isClosed_ || drains_ > 0 || !files_.empty() || filled_.size() > bufferSize_ / 2;
}

void SpoolQueue::takeFilled(std::string& batch)
{
    batch.swap(filled_);
    takenBytes_ += batch.size();
}

void SpoolQueue::takeSpooled(Lock& lock, std::string& batch)
{
    SpoolFile& file = files_.front();
    const SpoolFile::Extent waiting = file.waiting();
    lock.unlock();
    const std::uint64_t size = readBack(batch, file, waiting);

    lock.lock();
    file.drop(size);
    if (file.isEmpty())
        files_.pop_front();
    takenBytes_ += size;
}

std::uint64_t SpoolQueue::readBack(std::string& batch, const SpoolFile& file,
                                   SpoolFile::Extent waiting) const
{
    try {
        batch.resize(std::min<std::uint64_t>(waiting.size(), bufferSize_));
        if (file.read(waiting.begin, batch)) {
            const std::size_t whole = sizeOfWholeRecords(batch);
            batch.resize(whole > 0 ? whole : recordSizeAt(batch));
            if (whole > 0 || file.read(waiting.begin, batch))
                return batch.size();
        }
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    batch = lossRecord(waiting.size(), errno);
    return waiting.size();
}

// A buffer that a huge message made large gives its memory back.
void SpoolQueue::empty(std::string& buffer) const
{
    if (buffer.capacity() > 2 * bufferSize_)
        std::string{}.swap(buffer);
    buffer.clear();
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
