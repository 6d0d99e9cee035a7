#pragma once

#include "platform/bundle/PropertyList.h"
#include "tests/fuzz/FuzzTarget.h"

#include <system_error>

namespace veltra::fuzz {

/// A list is read, or refused for what is wrong with it and for no other reason.
[[nodiscard]] inline Outcome outcomeOf(const Result<PropertyList>& list)
{
    if (list)
        return Outcome::good;
    const std::error_code code = list.error().code();
    const bool isRefused = code == std::errc::bad_message || code == std::errc::file_too_large ||
                           code == std::errc::executable_format_error;
    return isRefused ? Outcome::refused : Outcome::broken;
}

} // namespace veltra::fuzz
