#pragma once

#include "platform/base/Fd.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veltra {

/// Consecutive lines of a file, each with its delimiter.
struct LineBlock {
    std::vector<char> memory; ///< the buffer that contains them
    std::vector<std::string_view> lines;
};

/// Reads a text file line by line from a byte offset and knows how far it got.
///
/// The file's length is measured once, when the reader is created; bytes appended later are not
/// read. Every line keeps its delimiter; a last line without one is returned as it is. If the
/// delimiter is one byte long, offsets and results are the same for every chunk size. Used by one
/// thread at a time; closes the file when destroyed.
class FileReader {
  public:
    /// A reader of the regular file at `path`, from its beginning or from `offset`, which may be
    /// past the file's end. Null if there is no such file or it cannot be opened for reading.
    /// The first one is not used by the program itself; it is part of the interface.
    [[nodiscard]] static std::unique_ptr<FileReader> initWithFilePath(const std::string& path);
    [[nodiscard]] static std::unique_ptr<FileReader> initWithFilePath(const std::string& path,
                                                                      std::uint64_t offset);

    /// The byte offset of the next line.
    [[nodiscard]] std::uint64_t getCurrentOffset() const noexcept { return currentOffset_; }

    /// How many bytes there were from that offset to the end when the length was measured.
    [[nodiscard]] std::uint64_t unreadLength() const noexcept
    {
        return totalFileLength_ - std::min(currentOffset_, totalFileLength_);
    }

    /// The next line with its delimiter, valid until the next call.
    ///
    /// Empty at the end of the measured length; for a line that is not valid UTF-8, which the
    /// reader then skips; and if the file was truncated meanwhile and has no bytes left here.
    std::optional<std::string_view> readLine();

    /// Reads as many lines as one read of the file provides, at least one, into `block`, replacing
    /// its contents. Returns false, without lines, where readLine() returns nothing. A line that is
    /// not valid UTF-8 ends the block before it. Throws std::bad_alloc, after which the block's
    /// contents must not be used.
    bool readLines(LineBlock& block);

    /// readLine() without white space and line breaks at both ends.
    /// Not used by the program itself; part of the interface.
    std::optional<std::string_view> readTrimmedLine();

    /// Passes each line to `block` until readLine() returns nothing or the block sets its flag
    /// `stop`. Not used by the program itself; part of the interface.
    void enumerateLinesUsingBlock(const std::function<void(std::string_view, bool& stop)>& block);

    /// The text that ends a line, as UTF-8, a line feed by default; and how many bytes of a line
    /// are examined in one step, 10 by default. The chunk size is not the amount read from the disk
    /// at once. The program itself leaves both as they are; setting them is part of the interface.
    [[nodiscard]] const std::string& lineDelimiter() const noexcept { return lineDelimiter_; }
    void setLineDelimiter(std::string delimiter) { lineDelimiter_ = std::move(delimiter); }
    [[nodiscard]] std::uint64_t chunkSize() const noexcept { return chunkSize_; }
    void setChunkSize(std::uint64_t bytes) noexcept { chunkSize_ = bytes; }

  private:
    FileReader(Fd fileHandle, std::uint64_t totalFileLength, std::uint64_t offset);

    std::string_view takeLine(std::size_t length) noexcept;
    void takeBufferedLines(std::vector<std::string_view>& lines);
    void exchangeBuffer(std::vector<char>& memory);
    bool isValidLine(std::size_t length);
    [[nodiscard]] bool isInsideCharacter(std::size_t index) const noexcept;
    std::size_t lengthOfLine();
    std::size_t lengthOfLineEndedByOneByte(char delimiter);
    std::size_t lengthOfLineInChunks();
    [[nodiscard]] std::string_view buffered() const noexcept;
    std::string_view bufferAtLeast(std::size_t wanted);
    bool fillBuffer();
    void makeRoomFor(std::uint64_t unread);

    Fd fileHandle_;
    std::uint64_t totalFileLength_;
    std::uint64_t currentOffset_;
    std::string lineDelimiter_ = "\n";
    std::uint64_t chunkSize_ = 10;

    std::vector<char> buffer_;  // the file's bytes from the current line on
    std::size_t lineStart_ = 0; // the position in it of the byte at currentOffset_
    std::size_t bufferEnd_ = 0; // how much of it is filled
    std::size_t validEnd_ = 0;  // the end of the part known to be valid UTF-8
};

} // namespace veltra
