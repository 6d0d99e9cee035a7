#pragma once

#include "platform/log/SpoolFile.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace veltra {

/// A queue of messages from any number of threads to one reader, bounded in memory.
///
/// Messages are stored one after the other, each preceded by its length, in two buffers that share
/// the memory limit: one that is being filled and one that the reader has. If the first is full
/// before the reader has finished the other, its contents go to a temporary file and wait there. So
/// the order is: the reader's buffer, the file, the buffer being filled. Pushing waits only if the
/// file cannot take the messages.
class SpoolQueue {
  public:
    using Clock = std::chrono::steady_clock;
    using Pieces = std::initializer_list<std::string_view>;

    explicit SpoolQueue(std::size_t memoryLimit);

    /// Appends a message, given in pieces, to the queue. Any thread.
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
    bool place(std::uint64_t length, Pieces pieces);
    bool spool(std::uint64_t length, Pieces pieces);
    void takeFilled(std::string& batch);
    void takeSpooled(Lock& lock, std::string& batch);
    std::uint64_t readBack(std::string& batch, SpoolFile::Extent waiting) const;

    const std::size_t bufferSize_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::condition_variable room_;
    std::condition_variable done_;
    // All below is guarded by mutex_.
    std::string filled_;
    SpoolFile file_;
    std::uint64_t pushedBytes_ = 0;
    std::uint64_t takenBytes_ = 0;
    std::uint64_t doneBytes_ = 0;
    bool isReaderWaiting_ = false;
    bool isReaderGathering_ = false;
    int drains_ = 0;
    bool isWriterWaiting_ = false;
    bool isClosed_ = false;
};

} // namespace veltra
