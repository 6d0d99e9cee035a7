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

/// Reads a pass's lines in batches and processes in advance what can be. If there is much to read,
/// it uses its own threads, so that several processors share the work.
///
/// Uses a few megabytes at most, plus the few lines that are longer than that. Used by one thread
/// at a time. Its destructor waits for a read in progress.
class LogBatchReader {
  public:
    /// Reads from the position of `reader`, which nobody else may use until this object is
    /// destroyed. The texts of the batches' rows are put into memory of `rows`.
    LogBatchReader(FileReader& reader, LogRows& rows, ShownLines shown);
    LogBatchReader(const LogBatchReader&) = delete;
    LogBatchReader& operator=(const LogBatchReader&) = delete;
    ~LogBatchReader();

    /// The next lines, at least one, valid until the next call; null where FileReader::readLine()
    /// returns nothing, and on all later calls. Throws std::bad_alloc.
    const LogBatch* next();

    /// The byte offset after the last batch returned; at the end, also after the skipped line if
    /// that was not valid UTF-8.
    [[nodiscard]] std::uint64_t getCurrentOffset() const noexcept { return currentOffset_; }

  private:
    struct Slot {
        LogBatch batch; // the last one has no lines
        std::uint64_t offsetBehind = 0;
        std::exception_ptr error; // the reason why it is the last
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

    // Held by the thread that reads; lock it before the other mutex. It guards:
    std::mutex readingMutex_;
    FileReader& reader_;
    std::size_t begun_ = 0; // how many slots have been started, in turns
    bool isAllRead_ = false;

    std::mutex mutex_;
    std::condition_variable becameReady_;
    std::condition_variable becameFree_;
    // How many slots the user has finished. Guarded by the mutex, like isStopped_.
    std::size_t given_ = 0;
    bool isStopped_ = false;

    std::array<Slot, slotCount> slots_;
    Slot* current_ = nullptr; // the user's
    std::uint64_t currentOffset_;

    std::vector<std::thread> threads_;
};

} // namespace veltra
