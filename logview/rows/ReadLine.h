#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

namespace veltra {

/// A stretch of bytes inside a buffer.
struct ByteRange {
    static constexpr std::uint64_t notFound = std::numeric_limits<std::int64_t>::max();

    std::uint64_t location = notFound;
    std::uint64_t length = 0;

    friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

/// Where `needle` begins in `haystack`, found by one scan that never goes back.
///
/// After a mismatch the scan goes on with the next byte without comparing the present one with
/// the needle's first, so "aab" is not found in "aaab"; and a beginning of the needle that runs to
/// the end of the haystack is reported as if it were whole. For needles of one byte neither can
/// happen. The length is always the needle's; an empty needle is never found.
[[nodiscard]] ByteRange rangeOfData_dd(std::string_view haystack, std::string_view needle) noexcept;

} // namespace veltra
