#pragma once

#include <atomic>
#include <cstddef>
#include <limits>

namespace veltra {

/// How many more blocks of memory for rows can be allocated in this process. Those are blocks of
/// whole pages, which nothing else here requests.
inline constexpr auto unlimitedBlocks = std::numeric_limits<std::size_t>::max();
inline std::atomic<std::size_t> blocksLeft = unlimitedBlocks;

} // namespace veltra
