#pragma once

#include "logview/rows/FileReader.h"
#include "logview/rows/LogBatch.h"
#include "logview/rows/LogRows.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace veltra {

/// Reads a pass's lines in batches, and works through them what can be worked through in advance;
/// where there is much to read, on threads of its own, so that several processors share the work.
///
/// Holds a few megabytes at most, and a few lines that are longer. Used by one thread at a time.
/// Its destructor waits for a read that is under way.
class LogBatchReader {
  public:
    /// Reads from where `reader` stands, which is this object's until it is gone. The texts of the
    /// batches' rows are put into memory of `rows`.
    LogBatchReader(FileReader& reader, LogRows& rows, ShownLines shown);
    LogBatchReader(const LogBatchReader&) = delete;
    LogBatchReader& operator=(const LogBatchReader&) = delete;
    ~LogBatchReader();

    /// The next lines, at least one, good until the next call; null where FileReader::readLine()
    /// gives nothing, and ever after. Throws std::bad_alloc.
    const LogBatch* next();

    /// The offset in bytes behind the batch that was given last; in the end also behind the line
    /// that was passed over because it is no text.
    [[nodiscard]] std::uint64_t getCurrentOffset() const noexcept { return currentOffset_; }

  private:
    struct Slot {
        LogBatch batch; // the last one has no lines
        std::uint64_t offsetBehind = 0;
        std::exception_ptr error; // why it is the last
        bool isReady = false;     // guarded by the mutex
    };
    static constexpr std::size_t slotCount = 4;

    void startThreads();
    void work(RowMemory& memory);
    Slot* nextToFill();
    void read(Slot& slot) noexcept;
    void makeRows(LogBatch& batch, RowMemory& memory) const noexcept;
    Slot& nextFilled();

    LogRows& rows_;
    ShownLines shown_;

    // Held by the thread that reads, before the other mutex. It guards:
    std::mutex readingMutex_;
    FileReader& reader_;
    std::size_t begun_ = 0; // how many slots were begun to be filled, in turns
    bool isAllRead_ = false;

    std::mutex mutex_;
    std::condition_variable becameReady_;
    std::condition_variable becameFree_;
    std::size_t given_ = 0; // how many slots the user is done with, guarded by the mutex, as is:
    bool isStopped_ = false;

    std::array<Slot, slotCount> slots_;
    Slot* current_ = nullptr; // the user's
    std::uint64_t currentOffset_;

    std::vector<std::thread> threads_;
};

} // namespace veltra
