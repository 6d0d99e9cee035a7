#pragma once

namespace intruder {

/// Makes the kernel take the calling process for one that runs `program`, by the link
/// /proc/PID/exe, while it goes on running its own code. Takes the rights of root of the user
/// namespace; says what the link is afterwards, or why it could not be made.
void forgeLinkToExecutable(const char* program);

} // namespace intruder
