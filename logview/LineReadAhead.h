#pragma once

#include "logview/FileReader.h"
#include "logview/LogLineScanner.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

namespace veltra {

/// Reads a FileReader's lines and scans them on a thread of its own, so that two processors share
/// the work on a large file.
///
/// Holds a few megabytes at most, and a few lines that are longer. Used by one thread at a time.
/// Its destructor waits for a read that is under way.
class LineReadAhead {
  public:
    /// Reads from where `reader` stands, which is the thread's until this is gone. Throws
    /// std::system_error when no thread is to be had; the reader then stands where it stood.
    explicit LineReadAhead(FileReader& reader);
    LineReadAhead(const LineReadAhead&) = delete;
    LineReadAhead& operator=(const LineReadAhead&) = delete;
    ~LineReadAhead();

    /// As FileReader::readLine(), and what that throws. Nothing follows the first time that there
    /// is nothing.
    std::optional<std::string_view> readLine();
    /// What scanLogLine() makes of the line that readLine() gave last; good for as long as that.
    [[nodiscard]] const ScannedLine& scannedLine() const { return current_.scanned[nextLine_ - 1]; }

    /// As FileReader::getCurrentOffset().
    [[nodiscard]] std::uint64_t getCurrentOffset() const noexcept { return currentOffset_; }

  private:
    /// Some lines that follow one another.
    struct Batch {
        std::vector<char> text;
        std::vector<std::size_t> lineEnds; // in the text
        std::vector<ScannedLine> scanned;
        std::uint64_t offsetBehind = 0; // where the reader then stood
        bool isLast = false;
        std::exception_ptr error; // what came instead of a further line
    };

    void run();
    Batch readBatch();
    void readLines(Batch& batch);
    Batch takeSpare();
    bool takeBatch();

    FileReader& reader_; // the thread's
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Batch> ready_; // guarded by the mutex, as are:
    std::vector<Batch> spare_;
    bool isStopped_ = false;

    Batch current_;
    std::size_t nextLine_ = 0;
    std::size_t lineStart_ = 0;
    std::uint64_t currentOffset_;

    std::thread thread_;
};

} // namespace veltra
