#include "logview/rows/LogRows.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

namespace veltra {

namespace {

constexpr std::size_t rowsPerChunk = 4096;

// Copies `text` to `to` and returns the end of the copy. Most texts are only a few letters long;
// for those, two fixed-length copies, which may overlap, are faster than calling memcpy(3).
char* copyText(std::string_view text, char* to) noexcept
{
    const std::size_t size = text.size();
    if (size >= 4 && size <= 8) {
        std::memcpy(to, text.data(), 4);
        std::memcpy(to + size - 4, text.data() + size - 4, 4);
    } else if (size > 8 && size <= 16) {
        std::memcpy(to, text.data(), 8);
        std::memcpy(to + size - 8, text.data() + size - 8, 8);
    } else if (size > 0) {
        std::memcpy(to, text.data(), size);
    }
    return to + size;
}

} // namespace

bool LogRows::Row::hasLengthsInFront() const noexcept
{
    return shortLengths_.front() == lengthsInFront;
}

LogRows::Row::Lengths LogRows::Row::lengths() const noexcept
{
    Lengths lengths{};
    if (hasLengthsInFront()) {
        std::memcpy(lengths.data(), texts_, sizeof lengths);
    } else {
        std::ranges::copy(shortLengths_, lengths.begin());
        lengths.back() = messageLength_;
    }
    return lengths;
}

LogLineTexts LogRows::Row::texts() const noexcept
{
    LogLineTexts texts;
    const char* start = hasLengthsInFront() ? texts_ + sizeof(Lengths) : texts_;
    for (std::size_t field = 0; const std::size_t length : lengths()) {
        texts[static_cast<LogField>(field++)] = {start, length};
        start += length;
    }
    return texts;
}

std::string_view LogRows::Row::text(LogField field) const noexcept
{
    return texts()[field];
}

void LogRows::append(const LogLineTexts& texts)
{
    const Row row = makeRow(texts, memory_);
    append({&row, 1});
}

void LogRows::append(std::span<const Row> rows)
{
    while (!rows.empty()) {
        if (stored_ / rowsPerChunk == chunks_.size())
            addChunk();
        const std::size_t room = rowsPerChunk - stored_ % rowsPerChunk;
        const auto part = rows.first(std::min(rows.size(), room));
        std::ranges::copy(part, &stored(stored_));
        stored_ += part.size();
        rows = rows.subspan(part.size());
    }
}

const LogRows::Row& LogRows::unpublished(std::size_t index) const
{
    return stored(published_ + index);
}

void LogRows::replaceUnpublished(std::size_t index, const LogLineTexts& texts)
{
    stored(published_ + index) = makeRow(texts, memory_);
}

void LogRows::dropUnpublished(const std::function<bool(const Row&)>& isDropped)
{
    std::size_t kept = published_;
    for (std::size_t index = published_; index < stored_; ++index)
        if (!isDropped(stored(index)))
            stored(kept++) = stored(index);
    stored_ = kept;
}

void LogRows::publish()
{
    if (stored_ == published_)
        return;
    const std::lock_guard lock{listsMutex_};
    passEnds_.push_back(stored_);
    published_ = stored_;
}

std::size_t LogRows::count() const noexcept
{
    return published_;
}

// Within a pass the rows are in file order, so the oldest one is the last.
LogRows::Row LogRows::row(std::size_t age) const
{
    const std::lock_guard lock{listsMutex_};
    const auto end = std::ranges::upper_bound(passEnds_, age);
    const std::size_t start = end == passEnds_.begin() ? 0 : *std::prev(end);
    return stored(start + (*end - 1 - age));
}

LogRows::Row LogRows::makeRow(const LogLineTexts& texts, RowMemory& memory)
{
    Row::Lengths lengths{};
    std::size_t size = 0;
    bool fits = true;
    for (std::size_t field = 0; const std::string_view text : texts) {
        lengths[field] = text.size();
        size += text.size();
        fits &= text.size() < (++field < logFieldCount ? Row::lengthsInFront
                                                       : std::numeric_limits<std::uint32_t>::max());
    }

    Row row;
    char* end = memory.take(size + (fits ? 0 : sizeof lengths));
    row.texts_ = end;
    if (fits) {
        for (std::size_t field = 0; field < row.shortLengths_.size(); ++field)
            row.shortLengths_[field] = static_cast<std::uint8_t>(lengths[field]);
        row.messageLength_ = static_cast<std::uint32_t>(lengths.back());
    } else {
        row.shortLengths_.front() = Row::lengthsInFront;
        std::memcpy(std::exchange(end, end + sizeof lengths), lengths.data(), sizeof lengths);
    }
    for (const std::string_view text : texts)
        end = copyText(text, end);
    return row;
}

void LogRows::addChunk()
{
    char* const memory = memory_.take(rowsPerChunk * sizeof(Row), alignof(Row));
    const std::lock_guard lock{listsMutex_};
    chunks_.push_back(::new (memory) Row[rowsPerChunk]);
}

LogRows::Row& LogRows::stored(std::size_t index) const
{
    return chunks_[index / rowsPerChunk][index % rowsPerChunk];
}

} // namespace veltra
