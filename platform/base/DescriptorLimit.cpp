#include "platform/base/DescriptorLimit.h"

#include <optional>

namespace veltra {

namespace {

rlimit presentLimit() noexcept
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit;
}

std::optional<rlimit>& limitBefore() noexcept
{
    static std::optional<rlimit> limit;
    return limit;
}

} // namespace

void raiseDescriptorLimit() noexcept
{
    rlimit limit = presentLimit();
    limitBefore() = limit;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

rlimit childDescriptorLimit() noexcept
{
    return limitBefore().value_or(presentLimit());
}

} // namespace veltra
