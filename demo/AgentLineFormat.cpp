#include "demo/AgentLineFormat.h"

#include <array>

namespace veltra {

void AgentLineFormat::append(std::string& text, std::chrono::system_clock::time_point when,
                             const AgentMessage& message)
{
    using namespace std::chrono;
    const auto whole = floor<seconds>(when);
    const auto fraction = static_cast<int>(duration_cast<milliseconds>(when - whole).count());

    text += second(system_clock::to_time_t(whole));
    text += '.';
    text += static_cast<char>('0' + fraction / 100);
    text += static_cast<char>('0' + fraction / 10 % 10);
    text += static_cast<char>('0' + fraction % 10);
    text += " (";
    text += std::to_string(processId_);
    text += '.';
    text += std::to_string(processId_ + message.thread);
    text += ") ";
    text += message.component;
    text += '.';
    text += message.severity;
    text += ": ";
    text += message.text;
    text += '\n';
}

const std::string& AgentLineFormat::second(std::time_t time)
{
    if (time != cachedTime_) {
        std::tm parts{};
        zone_ == Zone::Local ? localtime_r(&time, &parts) : gmtime_r(&time, &parts);
        std::array<char, 64> text{};
        const auto length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
        cachedText_.assign(text.data(), length);
        cachedTime_ = time;
    }
    return cachedText_;
}

} // namespace veltra
