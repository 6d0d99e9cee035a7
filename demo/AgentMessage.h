#pragma once

#include <string>
#include <string_view>

namespace veltra {

/// The content of one line of the agent's log, before the line gets its time stamp.
struct AgentMessage {
    std::string_view component; ///< Lives as long as the program.
    std::string_view severity;  ///< "Info", "Debug", "Warning" or "Error"; also lives that long.
    int thread = 0;             ///< Which of the agent's threads logs it, counted from 0.
    std::string text;           ///< Valid UTF-8 without line breaks.
};

} // namespace veltra
