#pragma once

#include <string>

namespace veltra {

/// Why the helper did not do what it was asked for. A value.
struct HelperFailure {
    enum class Kind {
        notReachable, ///< it did not get the request, or ended before it answered
        notRun,       ///< it could not do it, or there was nothing to send it
    };

    Kind kind;
    std::string reason;
};

} // namespace veltra
