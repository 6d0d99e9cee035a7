#pragma once

#include "platform/log/SpoolFile.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <list>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace veltra {

/// A queue of messages from any number of threads to one reader, bounded in memory.
///
/// Messages are stored one after the other, each preceded by its length, in two buffers that share
/// the memory limit: one that is being filled and one that the reader has. If the first is full
/// before the reader has finished the other, its contents go to a temporary file and wait there. So
/// the order is: the reader's buffer, the files, the buffer being filled.
///
/// The files are in $TMPDIR, /var/tmp or /tmp: a new one is made where there is room when the
/// newest one can take no more. If no folder has room, messages are left out, and a message that
/// says how many takes their place as soon as there is room.
class SpoolQueue {
  public:
    using Clock = std::chrono::steady_clock;
    using Pieces = std::initializer_list<std::string_view>;

    explicit SpoolQueue(std::size_t memoryLimit);

    /// Appends a message, given in pieces, to the queue. Never waits for the reader. Any thread.
    void push(Pieces pieces);

    /// Waits for messages and swaps them into `batch`, whose previous contents count as processed.
    /// Collects messages for a millisecond, because waking the reader for each one would slow down
    /// the writers. Returns false if the queue is closed and nothing waits. Only the reader.
    [[nodiscard]] bool take(std::string& batch);

    /// Removes and returns the first message of the rest of a batch.
    [[nodiscard]] static std::string_view next(std::string_view& batch);

    /// Waits until the reader has processed everything pushed before the call; with a deadline,
    /// returns whether that happened in time. Any thread.
    bool drain(std::optional<Clock::time_point> deadline = std::nullopt);

    /// Announces that nothing more will be pushed. Any thread.
    void close();

  private:
    using Lock = std::unique_lock<std::mutex>;

    void gather(Lock& lock);
    [[nodiscard]] bool isEnough() const;
    [[nodiscard]] bool noteLeftOut();
    [[nodiscard]] bool add(Pieces pieces);
    [[nodiscard]] bool place(Pieces pieces);
    [[nodiscard]] bool spool(std::uint64_t length, Pieces pieces);
    [[nodiscard]] bool spool(std::span<const std::string_view> records);
    void takeFilled(std::string& batch);
    void takeSpooled(Lock& lock, std::string& batch);
    std::uint64_t readBack(std::string& batch, const SpoolFile& file,
                           SpoolFile::Extent waiting) const;
    void empty(std::string& buffer) const;

    const std::size_t bufferSize_;
    const std::vector<std::string> folders_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::condition_variable done_;
    // All below is guarded by mutex_.
    std::string filled_;
    std::list<SpoolFile> files_; // none of them empty; the newest, which is appended to, is last
    std::uint64_t leftOut_ = 0;  // messages
    std::error_code whyLeftOut_;
    Clock::time_point nextSpooling_; // no earlier, after the disks had no room
    std::uint64_t pushedBytes_ = 0;
    std::uint64_t takenBytes_ = 0;
    std::uint64_t doneBytes_ = 0;
    bool isReaderWaiting_ = false;
    bool isReaderGathering_ = false;
    int drains_ = 0;
    bool isClosed_ = false;
};

} // namespace veltra
