#include "logview/rows/FileReader.h"

#include "logview/rows/ReadLine.h"
#include "logview/rows/WhiteSpace.h"
#include "platform/base/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr std::size_t readAhead = std::size_t{512} << 10;

} // namespace

std::unique_ptr<FileReader> FileReader::initWithFilePath(const std::string& path)
{
    return initWithFilePath(path, 0);
}

std::unique_ptr<FileReader> FileReader::initWithFilePath(const std::string& path,
                                                         std::uint64_t offset)
{
    // Without O_NONBLOCK, opening a FIFO would wait for a writer.
    Fd file{::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return nullptr;

    const auto length = static_cast<std::uint64_t>(status.st_size);
    return std::unique_ptr<FileReader>{new FileReader{std::move(file), length, offset}};
}

FileReader::FileReader(Fd fileHandle, std::uint64_t totalFileLength, std::uint64_t offset)
    : fileHandle_{std::move(fileHandle)}, totalFileLength_{totalFileLength}, currentOffset_{offset},
      buffer_(
          std::min<std::uint64_t>(totalFileLength - std::min(offset, totalFileLength), readAhead))
{
}

std::optional<std::string_view> FileReader::readLine()
{
    if (currentOffset_ >= totalFileLength_)
        return std::nullopt;

    const std::size_t length = lengthOfLine();
    const bool isValid = length > 0 && isValidLine(length);
    const std::string_view line = takeLine(length);
    return isValid ? std::optional{line} : std::nullopt;
}

bool FileReader::readLines(LineBlock& block)
{
    block.lines.clear();
    if (const auto line = readLine()) {
        block.lines.push_back(*line);
        takeBufferedLines(block.lines);
    }
    exchangeBuffer(block.memory);
    return !block.lines.empty();
}

// Takes the lines that are complete in the buffer and known to be valid, if the delimiter cannot
// split a character. Does not move them.
void FileReader::takeBufferedLines(std::vector<std::string_view>& lines)
{
    if (lineDelimiter_.size() != 1 || static_cast<unsigned char>(lineDelimiter_.front()) >= 0x80)
        return;
    const char* start = buffer_.data() + lineStart_;
    const char* const validEnd = buffer_.data() + std::max(validEnd_, lineStart_);
    while (const void* found = std::memchr(start, lineDelimiter_.front(),
                                           static_cast<std::size_t>(validEnd - start))) {
        const char* const end = static_cast<const char*>(found) + 1;
        lines.emplace_back(start, static_cast<std::size_t>(end - start));
        start = end;
    }
    takeLine(static_cast<std::size_t>(start - (buffer_.data() + lineStart_)));
}

std::string_view FileReader::takeLine(std::size_t length) noexcept
{
    const std::string_view line = buffered().substr(0, length);
    currentOffset_ += length;
    lineStart_ += length;
    return line;
}

// Leaves the lines that were read in their memory, which now belongs to the caller.
void FileReader::exchangeBuffer(std::vector<char>& memory)
{
    const std::string_view rest = buffered();
    memory.resize(
        std::max({memory.size(), rest.size(),
                  static_cast<std::size_t>(std::min<std::uint64_t>(unreadLength(), readAhead))}));
    std::ranges::copy(rest, memory.begin());
    bufferEnd_ = rest.size();
    validEnd_ = std::max(validEnd_, lineStart_) - lineStart_;
    lineStart_ = 0;
    buffer_.swap(memory);
}

// Checks everything in the buffer at once and remembers how far it is valid.
bool FileReader::isValidLine(std::size_t length)
{
    const std::size_t end = lineStart_ + length;
    if (end > validEnd_)
        validEnd_ = lineStart_ + validUtf8Prefix(buffered());
    return end <= validEnd_ && !isInsideCharacter(lineStart_) && !isInsideCharacter(end);
}

// A delimiter that is not a complete character may have split one. Bytes that are not known to be
// valid are inside of none: they say nothing about the line before them.
bool FileReader::isInsideCharacter(std::size_t index) const noexcept
{
    return index < validEnd_ && (static_cast<unsigned char>(buffer_[index]) & 0xC0U) == 0x80U;
}

std::optional<std::string_view> FileReader::readTrimmedLine()
{
    const auto line = readLine();
    if (!line)
        return std::nullopt;
    return withoutWhiteSpaceAtEnds(*line);
}

void FileReader::enumerateLinesUsingBlock(
    const std::function<void(std::string_view, bool& stop)>& block)
{
    bool stop = false;
    while (!stop) {
        const auto line = readLine();
        if (!line)
            return;
        block(*line, stop);
    }
}

std::size_t FileReader::lengthOfLine()
{
    return lineDelimiter_.size() == 1 ? lengthOfLineEndedByOneByte(lineDelimiter_.front())
                                      : lengthOfLineInChunks();
}

// A one-byte delimiter cannot span two chunks, so the chunk size does not matter.
std::size_t FileReader::lengthOfLineEndedByOneByte(char delimiter)
{
    std::size_t searched = 0;
    do {
        const std::string_view rest = buffered().substr(searched);
        if (const void* found = std::memchr(rest.data(), delimiter, rest.size()))
            return searched +
                   static_cast<std::size_t>(static_cast<const char*>(found) - rest.data()) + 1;
        searched += rest.size();
    } while (fillBuffer());
    return searched;
}

std::size_t FileReader::lengthOfLineInChunks()
{
    const auto chunkSize =
        static_cast<std::size_t>(std::min(chunkSize_, totalFileLength_ - currentOffset_));
    std::size_t length = 0;
    for (;;) {
        const std::string_view chunk = bufferAtLeast(length + chunkSize).substr(length, chunkSize);
        if (chunk.empty())
            return length;

        const ByteRange found = rangeOfData_dd(chunk, lineDelimiter_);
        if (found.location != ByteRange::notFound) {
            const auto end = static_cast<std::size_t>(found.location + found.length);
            return length + std::min(end, chunk.size());
        }
        length += chunk.size();
    }
}

std::string_view FileReader::buffered() const noexcept
{
    return {buffer_.data() + lineStart_, bufferEnd_ - lineStart_};
}

std::string_view FileReader::bufferAtLeast(std::size_t wanted)
{
    while (buffered().size() < wanted && fillBuffer()) {
    }
    return buffered();
}

// Whether at least one more byte of the file was read into the buffer.
bool FileReader::fillBuffer()
{
    const std::uint64_t position = currentOffset_ + buffered().size();
    if (position >= totalFileLength_)
        return false;
    makeRoomFor(totalFileLength_ - position);

    const auto room =
        std::min<std::uint64_t>(buffer_.size() - bufferEnd_, totalFileLength_ - position);
    ssize_t count = 0;
    do {
        count = ::pread(fileHandle_.get(), buffer_.data() + bufferEnd_,
                        static_cast<std::size_t>(room), static_cast<off_t>(position));
    } while (count < 0 && errno == EINTR);
    if (count <= 0)
        return false;
    bufferEnd_ += static_cast<std::size_t>(count);
    return true;
}

// Moves the rest of the buffer to its front; doubles the buffer if a line does not fit.
void FileReader::makeRoomFor(std::uint64_t unread)
{
    const std::size_t kept = bufferEnd_ - lineStart_;
    std::memmove(buffer_.data(), buffer_.data() + lineStart_, kept);
    validEnd_ = std::max(validEnd_, lineStart_) - lineStart_;
    lineStart_ = 0;
    bufferEnd_ = kept;
    if (buffer_.size() - kept < std::min<std::uint64_t>(unread, readAhead / 2))
        buffer_.resize(std::max(readAhead, 2 * buffer_.size()));
}

} // namespace veltra
