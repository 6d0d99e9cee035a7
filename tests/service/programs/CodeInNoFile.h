#pragma once

namespace intruder {

/// Replaces the mappings of the calling process's own executable by copies that belong to no file.
/// The code goes on in them. Prints the reason and ends the process if it cannot.
void moveOwnCodeOutOfItsFile();

} // namespace intruder
