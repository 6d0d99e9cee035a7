#pragma once

#include <sys/resource.h>

namespace veltra {

/// Lets this process open as many descriptors as the system allows it, instead of the few that are
/// usual. Programs that it starts get the usual limit; see childDescriptorLimit(). Call it before
/// the first thread is started.
void raiseDescriptorLimit() noexcept;

/// The limit of this process before it was raised; what its children should have.
[[nodiscard]] rlimit childDescriptorLimit() noexcept;

} // namespace veltra
