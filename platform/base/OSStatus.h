#pragma once

#include <cstdint>

namespace veltra {

/// What a call of a system service answered: 0 for success, else what went wrong.
using OSStatus = std::int32_t;

/// What a call brought: the object means something only when the status is success, and may be
/// empty even then.
template <typename T>
struct SecOutcome {
    OSStatus status = 0;
    T object{};
};

} // namespace veltra
