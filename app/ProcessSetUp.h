#pragma once

namespace veltra {

/// What the process needs before anything else happens in it:
///
/// - the standard descriptors, if they are closed, are those of /dev/null, so that no other file
///   gets their numbers;
/// - as many descriptors as the system allows, since each watched log takes one;
/// - SIGPIPE is ignored, so that it does no harm if nobody reads what is printed.
void setUpProcess() noexcept;

} // namespace veltra
