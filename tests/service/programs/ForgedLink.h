#pragma once

namespace intruder {

/// Makes the kernel show `program` as the calling process's executable, through the link
/// /proc/PID/exe, while the process continues to run its own code. Needs the rights of root of the
/// user namespace; prints the link afterwards, or why it could not be made.
void forgeLinkToExecutable(const char* program);

} // namespace intruder
