#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

namespace veltra {

/// A range of bytes in a buffer.
struct ByteRange {
    static constexpr std::uint64_t notFound = std::numeric_limits<std::int64_t>::max();

    std::uint64_t location = notFound;
    std::uint64_t length = 0;

    friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

/// Where `needle` begins in `haystack`, found by a single scan that never goes back.
///
/// After a mismatch the scan continues with the next byte without comparing the current one with
/// the needle's first. So "aab" is not found in "aaab", and a beginning of the needle at the very
/// end of the haystack is reported as a full match. Neither can happen with one-byte needles. The
/// length of the result is always the needle's; an empty needle is never found.
[[nodiscard]] ByteRange rangeOfData_dd(std::string_view haystack, std::string_view needle) noexcept;

} // namespace veltra
